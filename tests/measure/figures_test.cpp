// Counters and burdens, figure by figure.
#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "measure/counters.h"
#include "measure/ct_burden.h"
#include "support/data_lines.h"

namespace corvane {
namespace {

TEST(JudgeCounter, TellsForwardWrapAndRestartApart) {
    const char* const steps[] = {"forward", "wrapped", "restarted"};
    for (const DataLine& line : CasesOf("JudgeCounter")) {
        const CounterChange change =
            JudgeCounter(line.Number(1), line.Number(2), line.Number(3), line.Column(0) == u"5 bytes");
        EXPECT_STREQ(steps[static_cast<int>(change.step)], line.Word(4).c_str()) << line;
        EXPECT_EQ(change.wattSeconds, line.Number(5)) << line;
    }
}

TEST(Figures, AreRoundedAndLeftOutWhereThereIsNone) {
    for (const DataLine& line : CasesOf("Figures")) {
        const double first = line.Number(1);
        const double second = line.Number(2);
        const std::pair<const char*, std::function<std::optional<double>()>> figures[] = {
            {"elapsed seconds",
             [&] { return ElapsedSeconds(static_cast<int>(first), static_cast<int>(second)); }},
            {"whole watts", [&] { return WholeWatts(first, second); }},
            {"E24", [&] { return NearestE24(first); }},
            {"E96", [&] { return NearestE96(first); }},
        };
        for (const auto& [name, figure] : figures) {
            if (line.Word(0) != name) continue;
            EXPECT_EQ(figure().has_value(), line.Column(3) != u"none") << line;
            EXPECT_NEAR(figure().value_or(0), line.Number(3), line.Number(3) * 1e-10) << line;
        }
    }
}

TEST(CtBurden, FollowsTheSecondaryCurrentsOfAllTransformers) {
    for (const DataLine& line : CasesOf("CtBurden")) {
        const Burden burden = BurdenFor({.primaryAmps = line.Number(0),
                                         .turnsRatio = line.Number(1),
                                         .parallel = static_cast<int>(line.Number(2))},
                                        line.Number(3));
        EXPECT_NEAR(burden.ohms, line.Number(4), 1e-9) << line;
        EXPECT_NEAR(burden.volts, line.Number(3), 1e-12) << line;
        EXPECT_NEAR(burden.watts, line.Number(5), 1e-6) << line;
    }
}

}  // namespace
}  // namespace corvane
