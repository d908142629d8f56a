// Dates as people type them.
#pragma once

#include <QDate>
#include <QString>

#include <optional>

namespace corvane {

/// The day that an entry of the form "yyyy-mm-dd" stands for, leading zeros optional; nothing where it stands
/// for none.
[[nodiscard]] std::optional<QDate> ProperDate(const QString& text);

/// "yyyy-mm-dd".
[[nodiscard]] QString DateText(QDate date);

}  // namespace corvane
