#include "measure/ct_burden.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(CtBurden, FollowsTheSecondaryCurrentsOfAllTransformers) {
    const struct {
        CurrentTransformers transformers;
        double volts;
        double ohms;
        double watts;
    } cases[] = {
        {{.primaryAmps = 100, .turnsRatio = 2000, .parallel = 1}, 0.333, 6.66, 0.01665},
        {{.primaryAmps = 200, .turnsRatio = 3000, .parallel = 2}, 1.0, 7.5, 0.133333},
    };
    for (const auto& c : cases) {
        const Burden burden = BurdenFor(c.transformers, c.volts);
        EXPECT_NEAR(burden.ohms, c.ohms, 1e-9);
        EXPECT_NEAR(burden.volts, c.volts, 1e-12);
        EXPECT_NEAR(burden.watts, c.watts, 1e-6);
    }
}

TEST(CtBurden, PreferredNumbersAreTheNearestByRatio) {
    const struct {
        double ohms;
        double e24;
        double e96;
    } cases[] = {{6.66, 6.8, 6.65}, {1.0, 1.0, 1.0},         {9.9, 10, 10},
                 {9.6, 10, 9.53},   {0.0474, 0.047, 0.0475}, {31'900, 33'000, 31'600}};
    for (const auto& c : cases) {
        EXPECT_NEAR(NearestE24(c.ohms), c.e24, c.e24 * 1e-9) << c.ohms;
        EXPECT_NEAR(NearestE96(c.ohms), c.e96, c.e96 * 1e-9) << c.ohms;
    }
}

}  // namespace
}  // namespace corvane
