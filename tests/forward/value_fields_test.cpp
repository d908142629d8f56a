#include "forward/value_fields.h"

#include <gtest/gtest.h>

#include "measure/readings.h"

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
    const struct {
        std::span<const ValueField> fields;
        const char* text;
    } cases[] = {
        {kTextLine,
         "CH1P=100&CH2P=101&Paux1=102&Paux2=103&Paux3=104&Paux4=105&Paux5=0&KWhCH1=305421.1466044444&KWhCH2="
         "2.25&"
         "KWhAux1=3.25&KWhAux2=4.25&KWhAux3=5.25&KWhAux4=6.25&KWhAux5=7.25&Time=09:05:07"},
        {kNetMeteringTextLine,
         "CH1PA=100&CH2PA=101&CH1PP=200&CH2PP=201&Paux1=102&Paux2=103&Paux3=104&Paux4=105&Paux5=0&CH1A=1.2&"
         "CH2A=2.2&Volt=121.3&KWhCH1=305421.1466044444&KWhCH2=2.25&KWhAux1=3.25&KWhAux2=4.25&KWhAux3=5.25&"
         "KWhAux4=6.25&KWhAux5=7.25&DevSN=301234&Time=09:05:07"},
        {kGetLayout1,
         "v=121.3&sec=70001&c1w=100&c2w=101&wsa1=4500000&wsa2=8100000&wsap1=7000&wsap2=7001&A1w=102&A2w=103&"
         "A3w=104&A4w=105&A5w=0&A1ws=11700000&A2ws=15300000&A3ws=18900000&A4ws=22500000&A5ws=26100000&"
         "dev=301234&id=4&Resp=0"},
        {kGetLayout2,
         "volt=121.3&sn=301234&ch1w=100&ch2w=101&aux1w=102&aux2w=103&aux3w=104&aux4w=105&aux5w=0&"
         "ch1akwh=305421.1466044444&ch2akwh=2.25&aux1kwh=3.25&aux2kwh=4.25&aux3kwh=5.25&aux4kwh=6.25&"
         "aux5kwh=7.25"},
    };
    const LocalTime time{.hour = 9, .minute = 5, .second = 7};
    for (const auto& c : cases)
        EXPECT_EQ(FieldsText(c.fields, Readings(), time), c.text);
}

}  // namespace
}  // namespace corvane
