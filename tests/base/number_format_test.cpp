#include "base/number_format.h"

#include <QByteArray>

#include <gtest/gtest.h>

#include <cmath>

#include "support/data_file.h"

namespace corvane {
namespace {

TEST(NumberFormat, FollowsThePattern) {
    for (const auto& [line, cells] : DataRows("Pattern"))
        EXPECT_EQ(FormatNumber(QByteArray::fromStdString(cells[0]).toDouble(), cells[1]), cells[2]) << line;
}

TEST(NumberFormat, ShortestTextReadsBackAsTheSameNumberWithoutExponent) {
    for (const auto& [line, cells] : DataRows("Shortest")) {
        const double value = QByteArray::fromStdString(cells[0]).toDouble();
        EXPECT_EQ(ShortestText(value), cells[1]) << line;
        EXPECT_EQ(QByteArray::fromStdString(cells[1]).toDouble(), std::isfinite(value) ? value : 0) << line;
    }
    EXPECT_EQ(ShortestText(1.2F), "1.2");
}

}  // namespace
}  // namespace corvane
