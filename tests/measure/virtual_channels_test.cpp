// Sums over chosen channels, at the latest readings of their devices.
#include "measure/virtual_channels.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "measure/measurement_fixture.h"
#include "measure/record_writer.h"
#include "measure/virtual_texts.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::HasSubstr;

class VirtualChannelsTest : public MeasurementFixture {
protected:
    /// Two packets ten seconds apart; the powers are those between them, the energies what they end at.
    void Measure(std::uint16_t number, std::uint8_t unit, MonitorState watts) {
        watts.serialNumber = number;
        watts.unitId = unit;
        MonitorState start = watts;
        start.ch1Absolute = start.ch2Absolute = start.ch1Polarized = start.ch2Polarized = 3'600'000;
        start.aux = {3'600'000, 3'600'000, 3'600'000, 3'600'000, 3'600'000};
        start.seconds = seconds_ += 10;  // lower counters: they start anew
        Send(start);
        MonitorState end = start;
        end.seconds = seconds_ += 10;
        end.ch1Absolute += 10 * watts.ch1Absolute;
        end.ch2Absolute += 10 * watts.ch2Absolute;
        end.ch1Polarized += 10 * watts.ch1Polarized;
        end.ch2Polarized += 10 * watts.ch2Polarized;
        for (std::size_t i = 0; i < end.aux.size(); ++i)
            end.aux[i] += 10 * watts.aux[i];
        Send(end);
    }
    void MeasureA(const MonitorState& watts) { Measure(1234, 3, watts); }
    void MeasureB(const MonitorState& watts) { Measure(5678, 4, watts); }

    [[nodiscard]] VirtualReadings Read() const { return virtualChannels_.Read(); }

    std::uint32_t seconds_ = 1000;
    ChannelGroups groups_{settings_};
    VirtualChannels virtualChannels_{groups_, *measurement_, settings_};
};

TEST_F(VirtualChannelsTest, PowerGoesOneWayAndTheGridIsNamedForIt) {
    Set(u"cbo120_3"_s, u"a:ch1"_s);
    Set(u"cbo121_13"_s, u"A:CH2"_s);
    Set(u"NETmeter"_s, u"True"_s);
    const struct {
        std::uint64_t absolute, polarized;
        double net, bought, sold;
        const char* text;
    } cases[] = {{3000, 2000, -1000, 0, 1000, "Sending Power to the Grid"},
                 {3000, 0, 3000, 3000, 0, "Receiving Power From the Grid"},
                 {3000, 1500, 0, 0, 0, "Receiving Power From the Grid"}};
    for (const auto& c : cases) {
        MeasureA(
            {.ch1Absolute = c.absolute, .ch2Absolute = 50, .ch1Polarized = c.polarized, .ch2Polarized = 40});
        const VirtualReadings values = Read();
        EXPECT_EQ(values.net.watts, c.net);
        EXPECT_EQ(values.bought.watts, c.bought);
        EXPECT_EQ(values.sold.watts, c.sold);
        EXPECT_EQ(values.generated.watts, -30);
        EXPECT_EQ(values.used.watts, c.net - 30);
        EXPECT_EQ(GridText(values.net.watts).toStdString(), c.text);
    }
    EXPECT_EQ(VirtualLines(virtualChannels_),
              (QStringList{u"Main Panel  3000 W  0 A  1.008 kWh"_s, u"Other  3000 W  1.008 kWh"_s,
                           u"Receiving Power From the Grid  0 W"_s, u"Power Consumed By Inverter  -30 W"_s,
                           u"Net Energy From Grid  -1.000 kWh"_s, u"Generated Energy  -1.000 kWh"_s,
                           u"Energy Consumed By Home Loads  -2.000 kWh"_s}));

    Set(u"NETmeter"_s, u"False"_s);
    const VirtualReadings off = Read();
    for (const Flow& flow : {off.net, off.generated, off.used, off.bought, off.sold})
        EXPECT_THAT((std::vector{flow.watts, flow.wattSeconds}), ElementsAre(0, 0));
    EXPECT_EQ(off.main.watts, 3000);
}

TEST_F(VirtualChannelsTest, SumsHoldEveryChosenChannelOnceAndOtherIsWhatIsLeft) {
    EXPECT_TRUE(groups_.Choose(ChannelGroup::MainPanel, {u"A:CH1"_s, u"A:CH2"_s, u"A:CH1"_s}));
    Set(u"cbo120_13"_s, u"a:ch2"_s);
    EXPECT_TRUE(groups_.Choose(ChannelGroup::Virtual2, {u"A:AUX5"_s, u"B:AUX1"_s}));
    EXPECT_TRUE(groups_.Choose(ChannelGroup::Loads, {u"A:AUX1"_s, u"B:AUX2"_s}));
    MeasureA({.ch1Absolute = 1000,
              .ch2Absolute = 700,
              .ch1Polarized = 900,
              .ch1Hundredths = 1230,
              .ch2Hundredths = 710,
              .aux = {300, 0, 0, 0, 5}});
    MeasureB({.ch1Absolute = 9999, .aux = {40, 200}});
    VirtualReadings values = Read();
    EXPECT_EQ(values.main.watts, 1700);
    EXPECT_EQ(values.main.wattSeconds, 2 * 3'600'000 + 17'000);
    EXPECT_EQ(values.mainPolarized.watts, 900);
    EXPECT_EQ(values.virtuals[1].watts, 45);
    EXPECT_EQ(values.virtuals[0].watts + values.virtuals[2].watts, 0);
    EXPECT_EQ(values.other.watts, 1200);
    EXPECT_EQ(values.other.wattSeconds, 12'000);
    EXPECT_EQ(values.ShownMainPower(), 1700);
    EXPECT_EQ(values.ShownMainAmps(), 19.4);

    // How the main panel is shown changes no value that is recorded.
    Set(u"NegGen"_s, u"True"_s);
    Set(u"CurrentAvg"_s, u"True"_s);
    Set(u"Other"_s, u"False"_s);
    values = Read();
    EXPECT_EQ(values.main.watts, 1700);
    EXPECT_EQ(values.other.watts, 0);
    EXPECT_EQ(MainPowerText(values), u"-100 W (net)"_s);
    EXPECT_EQ(values.ShownMainAmps(), 9.7);
}

TEST_F(VirtualChannelsTest, ADeviceOffLineIsNamedAndItsPowerLeftOutButNotItsEnergy) {
    EXPECT_TRUE(groups_.Choose(ChannelGroup::MainPanel, {u"A:CH1"_s, u"B:CH1"_s}));
    Set(u"EnableVD1"_s, u"True"_s);
    MeasureA({.ch1Absolute = 500});
    EXPECT_THAT(Read().missing, ElementsAre(2));
    EXPECT_EQ(virtualChannels_.RowWith(A()), std::nullopt) << "the energy of B is not known";
    EXPECT_TRUE(groups_.Choose(ChannelGroup::MainPanel, {u"A:CH1"_s}));
    EXPECT_TRUE(groups_.Choose(ChannelGroup::Loads, {u"B:CH1"_s}));
    EXPECT_EQ(virtualChannels_.RowWith(A()), std::nullopt) << "nor Other";
    Set(u"NETmeter"_s, u"True"_s);
    EXPECT_TRUE(virtualChannels_.RowWith(A()).has_value()) << "Other is not in this row";
    Set(u"NETmeter"_s, u"False"_s);
    groups_.Clear(ChannelGroup::Loads);
    EXPECT_TRUE(groups_.Choose(ChannelGroup::MainPanel, {u"A:CH1"_s, u"B:CH1"_s}));
    MeasureB({.ch1Absolute = 800});
    EXPECT_THAT(Read().missing, ElementsAre());
    EXPECT_EQ(Read().main.watts, 1300);

    clock_.AdvanceSeconds(60);
    MeasureB({.ch1Absolute = 800});
    EXPECT_EQ(virtualChannels_.RowWith(Of(2)), std::nullopt) << "A is the lowest on line";
    clock_.AdvanceSeconds(60);
    const VirtualReadings values = Read();
    EXPECT_THAT(values.missing, ElementsAre(1));
    EXPECT_EQ(values.main.watts, 800);
    EXPECT_EQ(values.main.wattSeconds, 7'200'000 + 13'000);
    EXPECT_EQ(VirtualLines(virtualChannels_).last(), u"Device A is off line and missing from these sums."_s);
    ASSERT_TRUE(virtualChannels_.RowWith(Of(2)).has_value());
    Set(u"EnableVD1"_s, u"False"_s);
    EXPECT_EQ(virtualChannels_.RowWith(Of(2)), std::nullopt);
}

TEST_F(VirtualChannelsTest, TheRowsChannelsFollowTheInstallation) {
    for (const auto& [group, channel] : {std::pair{u"0"_s, u"A:CH1"_s},
                                         {u"1"_s, u"A:CH2"_s},
                                         {u"2"_s, u"A:AUX1"_s},
                                         {u"3"_s, u"A:AUX2"_s},
                                         {u"4"_s, u"A:AUX3"_s},
                                         {u"5"_s, u"A:AUX4"_s}})
        Set(u"cbo12"_s + group + u"_0"_s, channel);
    Set(u"EnableVD1"_s, u"True"_s);
    MeasureA({.ch1Absolute = 3600,
              .ch2Absolute = 2400,
              .ch1Polarized = 3000,
              .ch1Hundredths = 2000,
              .aux = {100, 200, 300, 400}});
    const auto row = [this] { return sql::MinuteRow(*virtualChannels_.RowWith(A())); };
    EXPECT_THAT(row(), testing::EndsWith(
                           " values ('2026-03-02 10:20:30',3600,0,0,3200,100,200,300,1.01,0,20,0,120.5,0,"
                           "0.008888888888888889,1.0002777777777778,1.0005555555555556,1.0008333333333332,"
                           "3636000,0,3630000,0,0,32000,3601000,3602000,3603000,1020,1,999999)"));
    Set(u"NETmeter"_s, u"True"_s);
    EXPECT_THAT(row(), testing::EndsWith(
                           " values ('2026-03-02 10:20:30',-2400,2400,0,2400,0,200,300,"
                           "-1.0066666666666666,1.0083333333333333,20,0,120.5,0.0016666666666666668,"
                           "-0.9933333333333333,-2,1.0005555555555556,1.0008333333333332,"
                           "-3624000,3630000,0,0,6000,-3576000,-7200000,3602000,3603000,1020,1,999999)"));
    EXPECT_THAT(sql::HourlyRow(*virtualChannels_.RowWith(A())), HasSubstr("',999999,-1.0066666666666666,"));
}

TEST_F(VirtualChannelsTest, ChoicesThatCannotBeReadAreToldAndLeftOut) {
    std::vector<std::string> problems;
    QObject::connect(&settings_, &SettingsStore::Problem,
                     [&problems](const QString& text) { problems.push_back(text.toStdString()); });
    for (const char* text : {"A:CH3", "G:CH1", "ACH1", "A:CH1:", ""})
        Set(u"cbo121_0"_s, QString::fromLatin1(text));
    EXPECT_EQ(problems.size(), 4U);
    EXPECT_THAT(problems.front(), HasSubstr("cbo121_0 is \"A:CH3\""));
    EXPECT_TRUE(groups_.Empty());

    QStringList many;
    for (const QString& letter : {u"A"_s, u"B"_s, u"C"_s}) {
        for (const char* channel : kChannelNames)
            many.append(letter + u':' + QLatin1StringView(channel));
    }
    EXPECT_EQ(groups_.Choose(ChannelGroup::Loads, many).Error(), u"A group has room for 14 channels."_s);
    EXPECT_FALSE(groups_.Choose(ChannelGroup::Loads, {u"A:CH1"_s, u"A:CH0"_s}));
    EXPECT_EQ(groups_.Choose(ChannelGroup::Loads, {}).Error(),
              u"No Device and Device Channel has been selected. Make selection and try again"_s);
    EXPECT_TRUE(groups_.Choose(ChannelGroup::Loads, many.first(14)));
    EXPECT_EQ(ChannelGroups(settings_).TextsOf(ChannelGroup::Loads), many.first(14));
    groups_.Clear(ChannelGroup::Loads);
    EXPECT_TRUE(ChannelGroups(settings_).Empty());
}

}  // namespace
}  // namespace corvane
