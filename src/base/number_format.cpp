#include "base/number_format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

namespace corvane {
namespace {

// The longest plain text of a double: 309 digits in front of the point, or 1074 behind it for the smallest.
constexpr std::size_t kLongestDouble = 1100;

template <typename Number>
std::string Shortest(Number value) {
    if (!std::isfinite(value)) return "0";
    if (value == 0) return "0";  // also for the negative zero
    std::array<char, kLongestDouble> text{};
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed).ptr;
    return {text.data(), end};
}

struct Decimal {
    std::string integer;   ///< digits without leading zeros; empty for 0
    std::string fraction;  ///< exactly as many digits as asked for
};

/// Rounds the plain decimal text `digits` to `decimals` places, halves away from zero.
Decimal RoundText(std::string_view digits, std::size_t decimals) {
    const auto point = std::min(digits.find('.'), digits.size());
    std::string integer(digits.substr(0, point));
    std::string fraction(point < digits.size() ? digits.substr(point + 1) : std::string_view());
    const bool up = fraction.size() > decimals && fraction[decimals] >= '5';
    fraction.resize(decimals, '0');

    std::string all = "0" + integer + fraction;
    if (up) {
        auto digit = all.rbegin();
        while (*digit == '9')
            *digit++ = '0';
        ++*digit;
    }
    integer = all.substr(0, all.size() - decimals);
    integer.erase(0, std::min(integer.find_first_not_of('0'), integer.size()));
    return {integer, all.substr(all.size() - decimals)};
}

std::string GroupInThrees(const std::string& digits) {
    std::string grouped;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) grouped += ',';
        grouped += digits[i];
    }
    return grouped;
}

}  // namespace

std::string FormatNumber(double value, std::string_view pattern) {
    if (!std::isfinite(value)) return "";
    const auto point = std::min(pattern.find('.'), pattern.size());
    const std::string_view integerPattern = pattern.substr(0, point);
    const std::string_view fractionPattern = pattern.substr(std::min(point + 1, pattern.size()));

    Decimal number = RoundText(ShortestText(std::abs(value)), fractionPattern.size());
    const bool isZero = number.integer.empty() && number.fraction.find_first_not_of('0') == std::string::npos;

    const auto leastDigits = static_cast<std::size_t>(std::ranges::count(integerPattern, '0'));
    if (number.integer.size() < leastDigits) {
        number.integer.insert(0, leastDigits - number.integer.size(), '0');
    }
    while (!number.fraction.empty() && number.fraction.back() == '0' &&
           fractionPattern[number.fraction.size() - 1] == '#') {
        number.fraction.pop_back();
    }

    std::string text = value < 0 && !isZero ? "-" : "";
    text +=
        integerPattern.find(',') == std::string_view::npos ? number.integer : GroupInThrees(number.integer);
    if (point < pattern.size()) text += '.' + number.fraction;
    return text;
}

std::string ShortestText(double value) {
    return Shortest(value);
}

std::string ShortestText(float value) {
    return Shortest(value);
}

}  // namespace corvane
