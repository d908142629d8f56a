#include "measure/measurement.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "measure/measurement_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class MeasurementTest : public MeasurementFixture {
protected:
    [[nodiscard]] const EnergyCounter& Ch1() const { return A().channels[0].absolute; }
};

TEST_F(MeasurementTest, TwoCountersMayWrapInOnePacket) {
    const std::uint64_t nearTop40 = 1099511627776 - 7000;
    const std::uint32_t nearTop32 = 4294967295 - 6999;
    Send({.ch1Absolute = nearTop40,
          .ch2Polarized = nearTop40,
          .seconds = 100,
          .aux = {nearTop32, 0, nearTop32}});
    Send({.ch1Absolute = 1000, .ch2Polarized = 9000, .seconds = 108, .aux = {1000, 0, 9000}});
    const auto& channels = A().channels;
    EXPECT_EQ(channels[0].absolute.carry, 1);
    EXPECT_EQ(channels[1].polarized.carry, 1);
    EXPECT_EQ(channels[2].absolute.carry, 1);
    EXPECT_EQ(channels[4].absolute.carry, 1);
    EXPECT_EQ(channels[4].absolute.watts, 2000);
    for (const char* key : {"Roll1A", "Roll2P", "Roll3", "Roll5"})
        EXPECT_EQ(settings_.GetSetting(QString::fromLatin1(key), {}, u"1"_s), u"1"_s) << key;
}

TEST_F(MeasurementTest, TheSecondsCounterWrapsFarFromItsTopAndRestartsNearIt) {
    const struct {
        std::uint32_t before;
        std::uint32_t after;
        int elapsed;
        std::optional<int> watts;
    } cases[] = {
        {16'776'960, 4, 260, 1000}, {16'776'961, 5, 0, std::nullopt}, {16'777'210, 5, 0, std::nullopt}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.before);
        StartMeasurement();
        Send({.ch1Absolute = 1'000'000, .seconds = c.before});
        Send({.ch1Absolute = 1'260'000, .seconds = c.after});
        EXPECT_EQ(A().restart, !c.watts.has_value());
        EXPECT_EQ(A().elapsed, c.elapsed);
        EXPECT_EQ(Ch1().watts, c.watts);
        // What comes behind either is reckoned from here.
        Send({.ch1Absolute = 1'276'000, .seconds = c.after + 8});
        EXPECT_EQ(Ch1().watts, 2000);
    }
}

TEST_F(MeasurementTest, AFigureBeyondAllPowerIsNone) {
    Send({.seconds = 100});
    Send({.ch1Absolute = 800, .seconds = 108});
    Send({.ch1Absolute = 1'000'000'000'000, .seconds = 109});
    EXPECT_EQ(Ch1().watts, std::nullopt);
    EXPECT_EQ(Ch1().lastWatts, 100);
    Send({.ch1Absolute = 1'000'000'000'300, .seconds = 110});
    EXPECT_EQ(Ch1().watts, 300);
}

TEST_F(MeasurementTest, VoltsAreDoubledForLineToLine) {
    Send({.voltTenths = 1205});
    EXPECT_EQ(A().volt, 120.5);
    Set(u"VoltX2"_s, u"True"_s);
    Send({.voltTenths = 1205});
    EXPECT_EQ(A().volt, 241.0);
    StartMeasurement();
    Send({.voltTenths = 1213});
    EXPECT_EQ(A().volt, 242.6);
    Set(u"VoltX2"_s, u"False"_s);
    Send({.voltTenths = 65535});
    EXPECT_EQ(A().volt, 6553.5);
}

TEST_F(MeasurementTest, AmpsHaveOneDecimalWithHalvesRoundedUp) {
    const struct {
        std::uint16_t hundredths;
        float amps;
    } cases[] = {{0, 0.0F},  {4, 0.0F},  {5, 0.1F},     {14, 0.1F},    {15, 0.2F},      {25, 0.3F},
                 {35, 0.4F}, {95, 1.0F}, {1234, 12.3F}, {1235, 12.4F}, {20005, 200.1F}, {65535, 655.4F}};
    for (const auto& c : cases) {
        Send({.ch1Hundredths = c.hundredths, .ch2Hundredths = 77});
        EXPECT_EQ(A().channels[0].amps, c.amps) << c.hundredths;
        EXPECT_EQ(A().channels[1].amps, 0.8F);
        Send({.ch1Hundredths = 77, .ch2Hundredths = c.hundredths});
        EXPECT_EQ(A().channels[0].amps, 0.8F);
        EXPECT_EQ(A().channels[1].amps, c.amps) << c.hundredths;
    }
}

TEST_F(MeasurementTest, ATwoChannelPacketLeavesTheAuxChannelsAlone) {
    Send({.seconds = 100, .aux = {800, 0, 0, 0, 7200}});
    Send({.seconds = 108, .aux = {1600, 0, 0, 0, 7200}});
    Send({.model = Model::TwoChannel, .ch1Absolute = 400, .seconds = 116});
    EXPECT_EQ(A().kind, &kTwoChannel);
    EXPECT_EQ(Ch1().watts, 50);
    const EnergyCounter& aux1 = A().channels[2].absolute;
    EXPECT_EQ(aux1.current, 1600);
    EXPECT_EQ(aux1.watts, std::nullopt);
    EXPECT_EQ(aux1.lastWatts, 100);
    EXPECT_EQ(aux1.carry, 0);
    EXPECT_EQ(A().channels[6].absolute.Kwh(), 0.002);
    EXPECT_FALSE(A().counterReset);
}

TEST_F(MeasurementTest, AuxChannelsThatComeLaterHaveNoWattsAtFirst) {
    Send({.model = Model::TwoChannel, .ch1Absolute = 100, .seconds = 100});
    Send({.ch1Absolute = 900, .seconds = 108, .aux = {1'000'000}});
    EXPECT_EQ(Ch1().watts, 100);
    EXPECT_EQ(A().channels[2].absolute.watts, std::nullopt);
    Send({.ch1Absolute = 900, .seconds = 116, .aux = {1'000'080}});
    EXPECT_EQ(A().channels[2].absolute.watts, 10);
}

TEST_F(MeasurementTest, SlotsAreMeasuredEachOnItsOwn) {
    const auto ofB = [](std::uint64_t ch1, std::uint32_t seconds) {
        return MonitorState{.ch1Absolute = ch1, .serialNumber = 5678, .unitId = 4, .seconds = seconds};
    };
    Send({.ch1Absolute = 1000, .seconds = 5000});
    Send(ofB(900'000, 10));
    clock_.AdvanceSeconds(8);
    Send({.ch1Absolute = 1800, .seconds = 5008});
    EXPECT_EQ(Ch1().watts, 100);
    Send(ofB(901'600, 18));
    EXPECT_EQ(Of(2).channels[0].absolute.watts, 200);
    EXPECT_EQ(Of(2).serial, "405678");
    EXPECT_EQ(Of(2).seconds, 18);
    EXPECT_EQ(A().serial, "301234");
    EXPECT_EQ(A().seconds, 5008);
    EXPECT_EQ(A().time, clock_.Now());
    EXPECT_FALSE(Of(3).Seen());
}

struct NotingSink final : ReadingsSink {
    NotingSink(std::string n, std::vector<std::string>& l) : name(std::move(n)), log(l) {}
    void OnReadings(const DeviceReadings& readings) override {
        log.push_back(name + " " + readings.serial + " " +
                      std::to_string(readings.channels[0].absolute.watts.value_or(-1)));
    }
    std::string name;
    std::vector<std::string>& log;
};

TEST_F(MeasurementTest, SinksGetEveryPacketOfABoundSlotInTheirOrder) {
    std::vector<std::string> log;
    NotingSink first("first", log);
    NotingSink second("second", log);
    measurement_->AddSink(first);
    measurement_->AddSink(second);
    Send({.ch1Absolute = 0, .seconds = 100});
    Send({.serialNumber = 999, .seconds = 104});  // bound to no slot
    Send({.ch1Absolute = 800, .seconds = 108});
    EXPECT_EQ(log, (std::vector<std::string>{"first 301234 -1", "second 301234 -1", "first 301234 100",
                                             "second 301234 100"}));
}

TEST_F(MeasurementTest, APacketThatIsBoundToNoSlotChangesNothing) {
    Send({.voltTenths = 1200, .ch1Absolute = 0, .seconds = 100});
    clock_.AdvanceSeconds(1);
    Send({.voltTenths = 999, .ch1Absolute = 7, .serialNumber = 999, .seconds = 7});
    EXPECT_EQ(A().volt, 120.0);
    EXPECT_EQ(A().serial, "301234");
    EXPECT_NE(A().time, clock_.Now());
    for (int slot = 2; slot <= kSlots; ++slot)
        EXPECT_FALSE(Of(slot).Seen()) << slot;
    Send({.ch1Absolute = 800, .seconds = 108});
    EXPECT_EQ(Ch1().watts, 100);
}

TEST_F(MeasurementTest, TheSingleTwoChannelMonitorHasItsFixedSerialText) {
    Set(u"VRQ5806"_s, u"1"_s);
    Set(u"DevSerial"_s, u"999998"_s, u"3"_s);
    Send({.model = Model::TwoChannel, .voltTenths = 1111});
    EXPECT_FALSE(A().Seen());
    EXPECT_EQ(Of(4).serial, "999998");
    EXPECT_EQ(Of(4).volt, 111.1);
    Send({.model = Model::FiveChannel, .voltTenths = 1222});
    EXPECT_EQ(A().volt, 122.2);
}

class ReboundSlot : public MeasurementTest {
protected:
    /// One monitor was measured, whose CH2 restarted; then the slot is bound to another.
    ReboundSlot() {
        Send({.ch1Absolute = 1000, .ch2Absolute = 5000, .seconds = 100, .aux = {7200}});
        Send({.ch1Absolute = 1800, .ch2Absolute = 2000, .seconds = 108, .aux = {7200}});
        Set(u"DevSerial"_s, u"511111"_s, u"0"_s);
    }
    static MonitorState Other(Model model, std::uint64_t ch1Absolute, std::uint32_t seconds) {
        return {.model = model,
                .ch1Absolute = ch1Absolute,
                .serialNumber = 11111,
                .unitId = 5,
                .seconds = seconds};
    }
};

TEST_F(ReboundSlot, ReckonsNoPowerFromTheFormerMonitorsCounters) {
    Send(Other(Model::FiveChannel, 900'000, 116));
    EXPECT_EQ(A().serial, "511111");
    EXPECT_TRUE(A().restart);
    EXPECT_EQ(A().elapsed, 0);
    EXPECT_EQ(Ch1().watts, std::nullopt);
    EXPECT_EQ(Ch1().carry, 0);
    Send(Other(Model::FiveChannel, 902'400, 124));
    EXPECT_EQ(Ch1().watts, 300);
}

TEST_F(ReboundSlot, ShowsNothingOfTheFormerMonitor) {
    Send(Other(Model::TwoChannel, 900'000, 116));
    EXPECT_EQ(Ch1().lastWatts, std::nullopt);
    EXPECT_EQ(A().channels[2].absolute.lastWatts, std::nullopt);
    EXPECT_EQ(A().channels[2].absolute.Kwh(), 0);
    EXPECT_FALSE(A().counterReset);
}

TEST_F(MeasurementTest, ASlotIsOffLineAfterTwoMinutesWithoutAPacket) {
    EXPECT_FALSE(measurement_->Online(1));
    Send({});
    EXPECT_TRUE(measurement_->Online(1));
    EXPECT_FALSE(measurement_->Online(2));
    clock_.AdvanceSeconds(119);
    EXPECT_TRUE(measurement_->Online(1));
    clock_.AdvanceSeconds(1);
    EXPECT_FALSE(measurement_->Online(1));
    Send({});
    EXPECT_TRUE(measurement_->Online(1));
}

}  // namespace
}  // namespace corvane
