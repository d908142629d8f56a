#include "measure/counters.h"

#include <gtest/gtest.h>

#include <optional>

namespace corvane {
namespace {

constexpr double kTop40 = 1099511627776.0;
constexpr double kTop32 = 4294967296.0;

TEST(TestWrapAround, AcceptsStrictlyLessThanTheLimitOfTheWidth) {
    const struct {
        double previous;
        double current;
        double elapsed;
        bool fiveByte;
        bool accepted;
    } cases[] = {
        // 4294960000 to 1000 is 8296 Ws: 1037 W.
        {4294960000, 1000, 8, false, true},
        {kTop32 - 32499, 0, 1, false, true},
        {kTop32 - 32500, 0, 1, false, false},
        {kTop32 - 1, 324999, 10, false, false},
        {kTop32 - 1, 324998, 10, false, true},
        {kTop32 - 32501, 0, 1, false, false},
        {kTop40 - 48499, 0, 1, true, true},
        {kTop40 - 48500, 0, 1, true, false},
        {kTop40 - 40000, 8499, 1, true, true},
        {kTop40 - 40000, 8500, 1, true, false},
        // The same step is one for a main channel and none for an AUX one.
        {kTop32 - 40000, 0, 1, false, false},
        {kTop40 - 40000, 0, 1, true, true},
        // A step back by little is a reset of the monitor.
        {50000, 49999, 8, true, false},
        {50000, 49999, 8, false, false},
        // The longer it took, the more may have gone by.
        {50000, 49999, 200'000, false, true},
    };
    for (const auto& c : cases) {
        bool accepted = !c.accepted;
        TestWrapAround(c.previous, c.current, c.elapsed, c.fiveByte, accepted);
        EXPECT_EQ(accepted, c.accepted) << c.previous << " to " << c.current << " in " << c.elapsed << " s";
    }
}

TEST(ElapsedSeconds, WrapsOrRestarts) {
    const struct {
        std::int32_t previous;
        std::int32_t current;
        std::optional<std::int32_t> elapsed;
    } cases[] = {
        {0, 0, 0},
        {100, 108, 8},
        {0, 16777215, 16777215},
        // Backwards is a wrap, however unlikely, up to 256 below the top ...
        {108, 100, 16777208},
        {16776960, 5, 261},
        {16776960, 0, 256},
        // ... and a restart within the last 255: on purpose.
        {16776961, 5, std::nullopt},
        {16777000, 5, std::nullopt},
        {16777210, 5, std::nullopt},
        {16777215, 16777214, std::nullopt},
        // Forwards is neither.
        {16777000, 16777215, 215},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ElapsedSeconds(c.previous, c.current), c.elapsed) << c.previous << " to " << c.current;
}

TEST(WholeWatts, RoundsHalvesUpAndHasNoFigureThatDoesNotFit) {
    const struct {
        double wattSeconds;
        double elapsed;
        std::optional<std::int32_t> watts;
    } cases[] = {
        {0, 8, 0},
        {8000, 8, 1000},
        {3, 8, 0},
        {4, 8, 1},
        {5, 10, 1},
        {15, 10, 2},
        {25, 10, 3},
        {24, 10, 2},
        {1, 3, 0},
        {2, 3, 1},
        {10'000'001, 4, 2'500'000},
        {2147483647, 1, 2147483647},
        {2147483647.4, 1, 2147483647},
        {2147483647.5, 1, std::nullopt},
        {2147483648.0, 1, std::nullopt},
        {1099511627775.0, 1, std::nullopt},
        {1099511627775.0, 1024, 1073741824},
        {8, 0, std::nullopt},
        {0, 0, std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(WholeWatts(c.wattSeconds, c.elapsed), c.watts) << c.wattSeconds << " in " << c.elapsed;
}

TEST(JudgeCounter, TellsForwardWrapAndRestartApart) {
    const struct {
        double previous;
        double current;
        bool fiveByte;
        CounterStep step;
        double wattSeconds;
    } cases[] = {
        {1000, 9000, true, CounterStep::Forward, 8000},
        {1000, 1000, false, CounterStep::Forward, 0},
        // Forwards has no limit: also a leap is energy.
        {0, kTop40 - 1, true, CounterStep::Forward, kTop40 - 1},
        {kTop40 - 100, 60, true, CounterStep::Wrapped, 160},
        {kTop32 - 100, 60, false, CounterStep::Wrapped, 160},
        // Exactly 0 is never a wrap.
        {kTop40 - 100, 0, true, CounterStep::Restarted, 0},
        {kTop32 - 100, 0, false, CounterStep::Restarted, 0},
        // A 32-bit counter's wrap would be a restart of a 40-bit one.
        {kTop32 - 100, 60, true, CounterStep::Restarted, 0},
        {50000, 20, false, CounterStep::Restarted, 0},
    };
    for (const auto& c : cases) {
        const CounterChange change = JudgeCounter(c.previous, c.current, 8, c.fiveByte);
        EXPECT_EQ(change.step, c.step) << c.previous << " to " << c.current;
        EXPECT_EQ(change.wattSeconds, c.wattSeconds) << c.previous << " to " << c.current;
    }
}

}  // namespace
}  // namespace corvane
