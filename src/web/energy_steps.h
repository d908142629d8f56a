// Energy per hour, day or month, from readings of a meter that were taken at any time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace corvane {

/// The energy between two readings is spread evenly over the time between them. Where that time is longer
/// than `longestPause`, nobody knows when it flowed: it counts only if both readings lie in the same step. A
/// meter that fell was reset, and what flowed then is not known either, unless it is one that `mayFall`.
class EnergySteps {
public:
    struct Step {
        std::optional<double> kwh;  ///< nothing where no reading tells
        bool complete = false;      ///< known from its start to its end
    };

    /// `bounds` are the starts of the steps and the end of the last, in seconds, ascending.
    EnergySteps(std::vector<std::int64_t> bounds, std::int64_t longestPause, bool mayFall)
        : bounds_(std::move(bounds)),
          longestPause_(longestPause),
          mayFall_(mayFall),
          kwh_(bounds_.size() - 1),
          known_(bounds_.size() - 1) {}

    /// The meter's reading at a time; times must not go back.
    void Add(std::int64_t seconds, double kwh);

    [[nodiscard]] std::vector<Step> Steps() const;

private:
    struct Reading {
        std::int64_t seconds;
        double kwh;
    };

    /// The step that holds a time; one beyond the ends for a time outside.
    [[nodiscard]] std::ptrdiff_t StepAt(std::int64_t seconds) const;

    std::vector<std::int64_t> bounds_;
    std::int64_t longestPause_;
    bool mayFall_;
    std::optional<Reading> last_;
    std::vector<std::optional<double>> kwh_;
    std::vector<std::int64_t> known_;  ///< seconds of each step that readings tell of
};

}  // namespace corvane
