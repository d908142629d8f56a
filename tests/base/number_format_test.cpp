#include "base/number_format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "support/data_file.h"

namespace corvane {
namespace {

TEST(NumberFormat, FollowsThePattern) {
    for (const auto& [line, cells] : DataRows("Pattern"))
        EXPECT_EQ(FormatNumber(std::strtod(cells[0].c_str(), nullptr), cells[1]), cells[2]) << line;
}

TEST(NumberFormat, ShortestTextReadsBackAsTheSameNumberWithoutExponent) {
    for (const auto& [line, cells] : DataRows("Shortest")) {
        const double value = std::strtod(cells[0].c_str(), nullptr);
        EXPECT_EQ(ShortestText(value), cells[1]) << line;
        EXPECT_EQ(std::strtod(cells[1].c_str(), nullptr), std::isfinite(value) ? value : 0) << line;
    }
    EXPECT_EQ(ShortestText(1.2F), "1.2");
}

}  // namespace
}  // namespace corvane
