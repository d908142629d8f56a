// The readings for programs that read XML.
#pragma once

#include <QByteArray>
#include <QJsonObject>

namespace corvane {

/// The readings document as XML: an object is an element, its values are attributes, the members of its lists
/// are elements within it. What is null is left out.
[[nodiscard]] QByteArray LiveXml(const QJsonObject& readings);

}  // namespace corvane
