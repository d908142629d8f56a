// The round number that a scale ends at.
#pragma once

#include <cmath>

namespace corvane {

/// The least of 1, 2, 4, 6, 8 and 10 times a power of ten that is not below `value`, which is above 0. All of
/// them can be halved and quartered into round numbers.
[[nodiscard]] inline double RoundedUp(double value) {
    const double decade = std::pow(10.0, std::floor(std::log10(value)));
    for (const double step : {1.0, 2.0, 4.0, 6.0, 8.0}) {
        if (value <= step * decade) return step * decade;
    }
    return 10 * decade;
}

}  // namespace corvane
