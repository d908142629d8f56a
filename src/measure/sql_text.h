// Statements put together of parts.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace corvane {

/// The parts one behind the other. Texts of others among them must be `SqlQuoted`.
[[nodiscard]] inline std::string SqlText(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts)
        text += part;
    return text;
}

}  // namespace corvane
