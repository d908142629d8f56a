// Numbers as people type them, and as files of others have them.
#pragma once

#include <QString>

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace corvane {

/// The finite number that `text` stands for; nothing where it stands for none.
[[nodiscard]] inline std::optional<double> NumberEntry(const QString& text) {
    bool isNumber = false;
    const double value = text.trimmed().toDouble(&isNumber);
    return isNumber && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

/// The whole number from `least` to `most` that `text` stands for, as "60", " 6e1 " and "60.0" do; nothing
/// where it stands for none.
[[nodiscard]] inline std::optional<int> WholeNumberEntry(const QString& text, int least, int most) {
    const auto number = NumberEntry(text);
    if (!number.has_value() || *number < least || *number > most || std::trunc(*number) != *number) {
        return std::nullopt;
    }
    return static_cast<int>(*number);
}

/// The finite number that all of `text` is, whatever the locale; nothing where it is none.
[[nodiscard]] inline std::optional<double> ParseNumber(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && end == text.data() + text.size() && std::isfinite(number);
    return isNumber ? std::optional(number) : std::nullopt;
}

/// The whole number that all of `text` is; nothing where it is none, or one that `Number` cannot hold.
template <typename Number>
[[nodiscard]] std::optional<Number> ParseInteger(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

}  // namespace corvane
