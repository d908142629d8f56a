#include "web/energy_steps.h"

#include <gtest/gtest.h>

#include <string>

#include "base/number_format.h"

namespace corvane {
namespace {

constexpr std::int64_t kHour = 3600;

/// Three hours, of which each is written as its kWh, with "~" in front where it is not complete; "-" is no
/// data.
std::string Steps(const std::vector<std::pair<double, double>>& readings, bool mayFall = false) {
    EnergySteps steps({0, kHour, 2 * kHour, 3 * kHour}, 5 * kHour / 2, mayFall);
    for (const auto& [hours, kwh] : readings)
        steps.Add(static_cast<std::int64_t>(hours * kHour), kwh);
    std::string text;
    for (const EnergySteps::Step& step : steps.Steps()) {
        if (!step.kwh.has_value())
            text += "- ";
        else
            text += (step.complete ? "" : "~") + FormatNumber(*step.kwh, "0.##") + " ";
    }
    return text;
}

TEST(EnergySteps, ReadingsAtAnyTimeGiveTheEnergyOfEachHour) {
    EXPECT_EQ(Steps({{0, 100}, {1, 101}, {2, 103}, {3, 106}}), "1. 2. 3. ");
    EXPECT_EQ(Steps({{-0.5, 99}, {0.5, 101}, {1.5, 103}, {2.5, 107}, {3.5, 109}}), "2. 3. 3. ");
    EXPECT_EQ(Steps({}), "- - - ");
    EXPECT_EQ(Steps({{0.5, 100}}), "- - - ");
    EXPECT_EQ(Steps({{0.5, 100}, {1.5, 102}}), "~1. ~1. - ");
    EXPECT_EQ(Steps({{-2, 1}, {-1, 2}, {3, 9}, {4, 10}}), "- - - ");          // nobody knows when it flowed
    EXPECT_EQ(Steps({{0, 1}, {1, 2}, {1, 2}, {2, 2}, {3, 3}}), "1. 0. 1. ");  // a row that is there twice
    EXPECT_EQ(Steps({{0, 100}, {1, 101}, {1.5, 0}, {2, 0.5}, {3, 1}}),
              "1. ~0.5 0.5 ");  // a meter that was reset
    EXPECT_EQ(Steps({{0, 100}, {1, 98}, {2, 99}, {3, 99}}, true),
              "-2. 1. 0. ");  // net energy, sold and bought
}

TEST(EnergySteps, ALongPauseCountsWhereItLiesInOneStep) {
    EnergySteps days({0, 24 * kHour, 48 * kHour}, 5 * kHour / 2, false);
    for (const auto& [hour, kwh] : {std::pair(0, 10.0), {20, 30.0}, {23, 33.0}, {30, 40.0}, {31, 41.0}})
        days.Add(hour * kHour, kwh);
    EXPECT_EQ(days.Steps()[0].kwh, 23);
    EXPECT_FALSE(days.Steps()[0].complete);
    EXPECT_EQ(days.Steps()[1].kwh, 1);  // of the seven hours around midnight, neither day knows its share
}

}  // namespace
}  // namespace corvane
