// What a measured piece may cost beside its limit, which is measured in the same run.
#pragma once

#include <string>

namespace corvane {

/// Registers that benchmark `measured` should take at most `aim` times the time of benchmark `limit`. The
/// program prints all such ratios at its end.
struct Ratio {
    Ratio(std::string measured, std::string limit, double aim);
};

/// Registers that benchmark `measured` should process at least `aim` items a second.
struct Rate {
    Rate(std::string measured, double aim);
};

}  // namespace corvane
