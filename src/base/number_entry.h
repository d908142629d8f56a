// Numbers as people type them.
#pragma once

#include <QString>

#include <cmath>
#include <optional>

namespace corvane {

/// The finite number that `text` stands for; nothing where it stands for none.
[[nodiscard]] inline std::optional<double> NumberEntry(const QString& text) {
    bool isNumber = false;
    const double value = text.trimmed().toDouble(&isNumber);
    return isNumber && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

}  // namespace corvane
