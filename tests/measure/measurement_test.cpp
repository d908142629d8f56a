#include "measure/measurement.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "measure/heard_texts.h"
#include "measure/measurement_fixture.h"
#include "support/data_lines.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class MeasurementTest : public MeasurementFixture {
protected:
    [[nodiscard]] const EnergyCounter& Ch1() const { return A().channels[0].absolute; }
    [[nodiscard]] const EnergyCounter& Aux1() const { return A().channels[2].absolute; }
};

TEST_F(MeasurementTest, ACarryThatCannotRiseIsLogged) {
    Set(u"Roll3"_s, u"32767"_s, u"1"_s);
    Send({.seconds = 100, .aux = {4'294'960'000}});
    EXPECT_TRUE(errorLog_.Load().lines.empty());
    Send({.seconds = 108, .aux = {1000}});
    const QStringList log = errorLog_.Load().lines;
    ASSERT_EQ(log.size(), 1);
    EXPECT_TRUE(log[0].startsWith(u"6\tOverflow\tRoll3 of Device A "_s)) << log[0].toStdString();
}

class NotingSink final : public ReadingsSink {
public:
    NotingSink(const char* name, std::vector<std::string>& log) : name_(name), log_(log) {}
    void OnReadings(const DeviceReadings& readings) override {
        const auto watts = readings.channels[0].absolute.watts;
        std::string& line = log_.emplace_back(name_ + readings.serial);
        if (watts) line.append(" ").append(std::to_string(*watts));
    }

private:
    std::string name_;
    std::vector<std::string>& log_;
};

TEST_F(MeasurementTest, SlotsAreMeasuredEachOnItsOwnAndToldToAllSinks) {
    std::vector<std::string> log;
    NotingSink first("first ", log);
    NotingSink second("second ", log);
    measurement_->AddSink(first);
    measurement_->AddSink(second);
    Send({.ch1Absolute = 1000, .seconds = 5000});
    Send({.ch1Absolute = 900'000, .serialNumber = 5678, .unitId = 4, .seconds = 10});
    Send({.ch1Absolute = 1800, .seconds = 5008});
    const LocalTime time = clock_.Now();
    clock_.AdvanceSeconds(8);
    Send({.voltTenths = 999, .ch1Absolute = 7, .serialNumber = 999, .seconds = 7});  // bound to no slot
    Send({.ch1Absolute = 901'600, .serialNumber = 5678, .unitId = 4, .seconds = 18});
    EXPECT_EQ(log, (std::vector<std::string>{"first 301234", "second 301234", "first 405678", "second 405678",
                                             "first 301234 100", "second 301234 100", "first 405678 200",
                                             "second 405678 200"}));
    EXPECT_EQ(A().volt, 120.5);
    EXPECT_EQ(A().seconds, 5008);
    EXPECT_EQ(A().time, time);
    EXPECT_EQ(Of(2).time, clock_.Now());
    for (int slot = 3; slot <= kSlots; ++slot)
        EXPECT_FALSE(Of(slot).Seen()) << slot;
}

TEST_F(MeasurementTest, AReboundSlotKeepsNothingOfTheFormerMonitorButItsCarries) {
    Set(u"Roll1A"_s, u"2"_s, u"1"_s);
    Send({.ch1Absolute = 1000, .ch2Absolute = 5000, .seconds = 100, .aux = {6400}});
    Send({.ch1Absolute = 1800, .ch2Absolute = 2000, .seconds = 108, .aux = {7200}});
    ASSERT_TRUE(A().counterReset);
    int forgotten = 0;
    QObject::connect(measurement_.get(), &Measurement::Forgotten, [&](int slot) { forgotten = slot; });
    Set(u"DevSerial"_s, u"511111"_s, u"0"_s);
    EXPECT_FALSE(A().Seen()) << "at once, not with the next packet";
    EXPECT_FALSE(measurement_->Online(1));
    EXPECT_EQ(forgotten, 1);
    MonitorState other = {.model = Model::TwoChannel,
                          .ch1Absolute = 900'000,
                          .serialNumber = 11111,
                          .unitId = 5,
                          .seconds = 116};
    Send(other);
    EXPECT_EQ(A().serial, "511111");
    EXPECT_TRUE(A().restart);
    EXPECT_EQ(A().elapsed, 0);
    EXPECT_EQ(Ch1().watts, std::nullopt);
    EXPECT_EQ(Ch1().lastWatts, std::nullopt);
    EXPECT_EQ(Ch1().carry, 2);
    EXPECT_EQ(Aux1().lastWatts, std::nullopt);
    EXPECT_EQ(Aux1().Kwh(), 0);
    EXPECT_FALSE(A().counterReset);
    other.ch1Absolute += 2400;
    other.seconds += 8;
    Send(other);
    EXPECT_EQ(Ch1().watts, 300);
    Set(u"DevSerial"_s, u"511111"_s, u"4"_s);
    EXPECT_FALSE(A().Seen()) << "the last of two slots has it";
    Send(other);
    EXPECT_TRUE(Of(5).Seen());
    EXPECT_FALSE(A().Seen());
}

TEST_F(MeasurementTest, ASlotThatBeginsAnewCountsNoWrapOfAResetOfOurs) {
    Send({.ch1Absolute = 9000, .seconds = 1000, .aux = {4'000'000'000}});
    measurement_->BeginAnew(1);
    Send({.ch1Absolute = 40, .seconds = 2, .aux = {20}});
    EXPECT_EQ(Aux1().carry, 0) << "the seconds stepped back, which is no wrap of theirs";
    EXPECT_FALSE(A().counterReset);
    EXPECT_EQ(Ch1().watts, std::nullopt);
    Send({.ch1Absolute = 840, .seconds = 10, .aux = {820}});
    EXPECT_EQ(Ch1().watts, 100);
}

TEST_F(MeasurementTest, MonitorsHeardThatNobodyAnswersToAreListedNewestFirst) {
    const auto listed = [this] { return UnboundText(measurement_->Unbound()).toStdString(); };
    EXPECT_EQ(listed(), "");
    Send({.serialNumber = 1, .unitId = 5});
    clock_.AdvanceSeconds(5);
    Send({.model = Model::TwoChannel, .serialNumber = 2, .unitId = 5});
    EXPECT_EQ(listed(),
              "Heard, but bound to no device: 500002 (VRQ-5806, Serial Connection A, 10:20:35), "
              "500001 (VRQ-5810, Serial Connection A, 10:20:30)");
    Set(u"DevSerial"_s, u"500002"_s, u"2"_s);
    EXPECT_EQ(measurement_->Unbound().size(), 1U);
    for (std::uint16_t number = 1; number <= 1100; ++number)
        Send({.serialNumber = number, .unitId = 9});
    EXPECT_EQ(measurement_->Unbound().size(), Measurement::kMostUnbound);
    EXPECT_EQ(measurement_->Unbound().back().serial, "900101");
    EXPECT_TRUE(listed().ends_with(", and 990 more"));
    measurement_->ForgetUnbound();
    EXPECT_EQ(listed(), "");
}

TEST_F(MeasurementTest, ADeviceIsStaleAfterFourMissedPacketsAndOffLineAfterTwoMinutes) {
    EXPECT_EQ(measurement_->PresenceOf(1), Presence::Never);
    std::uint32_t seconds = 1000;
    for (const DataLine& line : CasesOf("Presence")) {
        Send({.seconds = ++seconds});
        seconds += static_cast<std::uint32_t>(line.Number(0));
        Send({.seconds = seconds});
        clock_.Jump(-1000);  // whatever becomes of the wall clock
        clock_.Advance(static_cast<std::int64_t>(line.Number(1)));
        EXPECT_EQ(PresenceText(measurement_->PresenceOf(1)), line.Word(2)) << line;
        EXPECT_EQ(measurement_->Online(1), line.Column(2) != u"off line") << line;
        EXPECT_EQ(measurement_->PresenceOf(2), Presence::Never);
    }
    EXPECT_FALSE(measurement_->Online(2));
}

}  // namespace
}  // namespace corvane
