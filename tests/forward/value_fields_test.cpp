#include "forward/value_fields.h"

#include <gtest/gtest.h>

#include "measure/readings.h"
#include "support/data_lines.h"

namespace corvane {
namespace {

/// Every value differs from every other, so that a wrong one in a place shows.
DeviceReadings Readings() {
    DeviceReadings readings;
    readings.slot = 4;
    readings.serial = "301234";
    readings.volt = 121.3;
    readings.seconds = 70001;
    for (std::size_t i = 0; i < kChannels; ++i) {
        const auto step = static_cast<double>(i);
        EnergyCounter& absolute = readings.channels[i].absolute;
        absolute.fiveByte = i < kMainChannels;
        absolute.current = 3'600'000 * (step + 1) + 900'000;  // 1.25 kWh, 2.25 kWh, ...
        absolute.lastWatts = 100 + static_cast<std::int32_t>(i);
    }
    for (std::size_t i = 0; i < kMainChannels; ++i) {
        readings.channels[i].polarized.current = 7000 + static_cast<double>(i);
        readings.channels[i].polarized.lastWatts = 200 + static_cast<std::int32_t>(i);
        readings.channels[i].amps = 1.2F + static_cast<float>(i);
    }
    readings.channels[0].absolute.carry = 1;          // 305419.8966044444 kWh more
    readings.channels[6].absolute.lastWatts.reset();  // never measured
    return readings;
}

TEST(ValueFields, EveryLayoutHasItsNamesValuesAndOrder) {
    const std::span<const ValueField> layouts[] = {kTextLine, kNetMeteringTextLine, kGetLayout1, kGetLayout2};
    const std::vector<DataLine> lines = CasesOf("ValueFields");
    ASSERT_EQ(lines.size(), std::size(layouts));
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(FieldsText(layouts[i], Readings(), {.hour = 9, .minute = 5, .second = 7}),
                  lines[i].Word(0));
}

}  // namespace
}  // namespace corvane
