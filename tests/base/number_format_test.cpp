#include "base/number_format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

namespace corvane {
namespace {

TEST(NumberFormat, FollowsThePattern) {
    const struct {
        double value;
        const char* pattern;
        const char* text;
    } cases[] = {
        // 0 shows only the digits that the pattern demands.
        {0, "######", ""},
        {0, "###.0", ".0"},
        {0, "####0.00", "0.00"},
        {0, "#######0", "0"},
        {0, "###,###,###.0", ".0"},
        {0, "00000", "00000"},
        // Halves go away from zero, judged by the decimal text.
        {0.5, "######", "1"},
        {1.5, "######", "2"},
        {2.5, "######", "3"},
        {-2.5, "######", "-3"},
        {0.49999, "######", ""},
        {0.05, "###.0", ".1"},
        {2.675, "####0.00", "2.68"},
        {1.005, "###,###.00", "1.01"},
        {9.995, "####0.00", "10.00"},
        {999.95, "###.0", "1000.0"},
        // Groups and widths.
        {1234567.89, "###,###,###.0", "1,234,567.9"},
        {123456.7, "###,###,###.0", "123,456.7"},
        {123, "###,###.00", "123.00"},
        {1234567.1234, "########.000", "1234567.123"},
        {0.25, "#####0.000", "0.250"},
        {0.25, "########.000", ".250"},
        {1234, "####,####.000", "1,234.000"},
        {123456789, "######", "123456789"},
        {7, "00000", "00007"},
        {1.5, "0.##", "1.5"},
        {3, "0.##", "3."},
        // Signs.
        {-1000, "#######0", "-1000"},
        {-0.04, "####0.0", "0.0"},
        {-1234.5, "###,###.00", "-1,234.50"},
        // What is no number has no text.
        {std::nan(""), "####0.00", ""},
        {std::numeric_limits<double>::infinity(), "######", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FormatNumber(c.value, c.pattern), c.text) << c.value << " by " << c.pattern;
    }
}

TEST(NumberFormat, ShortestTextReadsBackAsTheSameNumberWithoutExponent) {
    const struct {
        double value;
        const char* text;
    } cases[] = {
        {0, "0"},
        {-0.0, "0"},
        {0.1, "0.1"},
        {121.3, "121.3"},
        {1e12, "1000000000000"},
        {1099511627775.0, "1099511627775"},
        {32767.0 * 1099511627776.0, "36027697507336192"},
        {1.0 / 3600000, "0.00000027777777777777776"},
        {-12.5, "-12.5"},
        {std::nan(""), "0"},
        {std::numeric_limits<double>::infinity(), "0"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ShortestText(c.value), c.text);
        if (std::isfinite(c.value)) {
            EXPECT_EQ(std::strtod(c.text, nullptr), c.value);
        }
    }
    EXPECT_EQ(ShortestText(1.2F), "1.2");
}

}  // namespace
}  // namespace corvane
