#include "measure/counters.h"

#include <gtest/gtest.h>

#include <optional>
#include <tuple>

namespace corvane {
namespace {

constexpr double kTop40 = 1099511627776.0;
constexpr double kTop32 = 4294967296.0;

TEST(JudgeCounter, TellsForwardWrapAndRestartApart) {
    using enum CounterStep;
    const std::tuple<double, double, double, bool, CounterStep, double> cases[] = {
        {1000, 9000, 8, true, Forward, 8000},
        // Forwards has no limit: also a leap is energy.
        {0, kTop40 - 1, 8, true, Forward, kTop40 - 1},
        // A wrap must stay below the limit of the width.
        {kTop32 - 1, 324'998, 10, false, Wrapped, 324'999},
        {kTop32 - 1, 324'999, 10, false, Restarted, 0},
        {kTop40 - 40'000, 8499, 1, true, Wrapped, 48'499},
        {kTop40 - 40'000, 8500, 1, true, Restarted, 0},
        // A 32-bit counter's wrap is a restart of a 40-bit one.
        {kTop32 - 100, 60, 8, false, Wrapped, 160},
        {kTop32 - 100, 60, 8, true, Restarted, 0},
        // Exactly 0 is never a wrap.
        {kTop32 - 100, 0, 8, false, Restarted, 0},
        // A step back by little is a reset of the monitor, but the longer it took, the more may have gone by.
        {50'000, 49'999, 8, false, Restarted, 0},
        {50'000, 49'999, 200'000, false, Wrapped, kTop32 - 1},
    };
    for (const auto& [previous, current, elapsed, fiveByte, step, wattSeconds] : cases) {
        const CounterChange change = JudgeCounter(previous, current, elapsed, fiveByte);
        EXPECT_EQ(change.step, step) << previous << " to " << current;
        EXPECT_EQ(change.wattSeconds, wattSeconds) << previous << " to " << current;
    }
}

TEST(ElapsedSeconds, WrapsOrRestarts) {
    const std::tuple<std::int32_t, std::int32_t, std::optional<std::int32_t>> cases[] = {
        {100, 100, 0},
        {100, 108, 8},
        // Backwards is a wrap, however unlikely, up to 256 below the top, and a restart above: on purpose.
        {108, 100, 16777208},
        {16776960, 5, 261},
        {16776961, 5, std::nullopt},
        {16777215, 16777214, std::nullopt}};
    for (const auto& [previous, current, elapsed] : cases)
        EXPECT_EQ(ElapsedSeconds(previous, current), elapsed) << previous << " to " << current;
}

TEST(WholeWatts, RoundsHalvesUpAndHasNoFigureThatDoesNotFit) {
    const std::tuple<double, double, std::optional<std::int32_t>> cases[] = {{8000, 8, 1000},
                                                                             {3, 8, 0},
                                                                             {4, 8, 1},
                                                                             {25, 10, 3},
                                                                             {24, 10, 2},
                                                                             {2147483647.4, 1, 2147483647},
                                                                             {2147483647.5, 1, std::nullopt}};
    for (const auto& [wattSeconds, elapsed, watts] : cases)
        EXPECT_EQ(WholeWatts(wattSeconds, elapsed), watts) << wattSeconds << " in " << elapsed;
}

}  // namespace
}  // namespace corvane
