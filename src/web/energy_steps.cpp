#include "web/energy_steps.h"

#include <algorithm>

namespace corvane {

std::ptrdiff_t EnergySteps::StepAt(std::int64_t seconds) const {
    return std::ranges::upper_bound(bounds_, seconds) - bounds_.begin() - 1;
}

void EnergySteps::Add(std::int64_t seconds, double kwh) {
    const Reading now{seconds, kwh};
    const auto before = std::exchange(last_, now);
    if (!before.has_value()) return;
    const double used = now.kwh - before->kwh;
    const std::int64_t length = now.seconds - before->seconds;
    const auto first = StepAt(before->seconds);
    const auto last = StepAt(now.seconds);
    if ((used < 0 && !mayFall_) || (length > longestPause_ && first != last)) return;
    for (auto step = std::max<std::ptrdiff_t>(first, 0); step <= last && step < std::ssize(kwh_); ++step) {
        const auto at = static_cast<std::size_t>(step);
        const std::int64_t start = std::max(before->seconds, bounds_[at]);
        const std::int64_t end = std::min(now.seconds, bounds_[at + 1]);
        // Two readings of one stamp: all of it, in the step that holds them.
        const double share = length > 0 ? static_cast<double>(end - start) / static_cast<double>(length) : 1;
        if (length > 0 && end == start) continue;
        kwh_[at] = kwh_[at].value_or(0) + used * share;
        known_[at] += end - start;
    }
}

std::vector<EnergySteps::Step> EnergySteps::Steps() const {
    std::vector<Step> steps;
    for (std::size_t i = 0; i < kwh_.size(); ++i)
        steps.push_back({.kwh = kwh_[i], .complete = known_[i] == bounds_[i + 1] - bounds_[i]});
    return steps;
}

}  // namespace corvane
