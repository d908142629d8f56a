// Numbers as text: display patterns, and the exact form that goes into the database.
#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// Formats `value` by a display pattern of the characters `#`, `0`, `,` and `.`.
///
/// - `0` is a digit that is always shown, `#` one that is shown only where the number has it: 0 is "" by
///   "######", ".0" by "###.0", "0.00" by "####0.00". Digits in front of the pattern's first are never cut
///   off.
/// - A `,` between digits of the integer part groups all of it in threes.
/// - The value is rounded to the pattern's decimals, halves away from zero, judged by its shortest decimal
///   text: 2.675 by "0.00" is "2.68", though the nearest double lies below.
/// - A negative value gets a "-" in front, unless it rounds to zero.
/// - A value that is not finite is "".
[[nodiscard]] std::string FormatNumber(double value, std::string_view pattern);

/// The shortest plain decimal text ("." as separator, no exponent) that reads back as the same number.
/// A value that is not finite is "0": the database takes no other.
[[nodiscard]] std::string ShortestText(double value);
[[nodiscard]] std::string ShortestText(float value);

}  // namespace corvane
