#include "base/number_format.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/data_lines.h"

namespace corvane {
namespace {

TEST(NumberFormat, FollowsThePattern) {
    for (const DataLine& line : LinesOf("Pattern"))
        EXPECT_EQ(FormatNumber(line.Number(0), line.Word(1)), line.Word(2)) << line;
}

TEST(NumberFormat, ShortestTextReadsBackAsTheSameNumberWithoutExponent) {
    for (const DataLine& line : LinesOf("Shortest")) {
        const double value = line.Number(0);
        EXPECT_EQ(ShortestText(value), line.Word(1)) << line;
        EXPECT_EQ(line.Number(1), std::isfinite(value) ? value : 0) << line;
    }
    EXPECT_EQ(ShortestText(1.2F), "1.2");
}

}  // namespace
}  // namespace corvane
