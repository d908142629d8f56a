// Sums over chosen channels, at the latest readings of their devices.
#include "measure/virtual_channels.h"

#include <gmock/gmock.h>

#include <vector>

#include "measure/measurement_fixture.h"
#include "measure/record_writer.h"
#include "measure/virtual_texts.h"
#include "support/data_lines.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::EndsWith;

class VirtualChannelsTest : public MeasurementFixture {
protected:
    /// The counters of `end` were at 0 ten seconds earlier.
    void Measure(MonitorState end) {
        Send({.serialNumber = end.serialNumber, .unitId = end.unitId, .seconds = seconds_ += 10});
        end.seconds = seconds_ += 10;
        Send(end);
    }

    static QStringList LinesOf(const char* name) {
        QStringList lines;
        for (const DataLine& line : CasesOf(name))
            lines.append(line.text);
        return lines;
    }

    [[nodiscard]] VirtualReadings Read() const { return virtualChannels_.Read(); }

    std::uint32_t seconds_ = 1000;
    ChannelGroups groups_{settings_};
    StoredEnergies stored_{database_, slots_, clock_};
    VirtualChannels virtualChannels_{groups_, *measurement_, stored_, settings_};
};

TEST_F(VirtualChannelsTest, PowerGoesOneWayAndTheGridIsNamedForIt) {
    Set(u"cbo120_3"_s, u"a:ch1"_s);
    Set(u"cbo121_13"_s, u"A:CH2"_s);
    Set(u"NETmeter"_s, u"True"_s);
    const struct {
        std::uint64_t polarized;  // watt-seconds, of 30,000
        double net, bought, sold;
        const char* text;
    } cases[] = {{20'000, -1000, 0, 1000, "Sending Power to the Grid"},
                 {0, 3000, 3000, 0, "Receiving Power From the Grid"},
                 {15'000, 0, 0, 0, "Receiving Power From the Grid"}};
    for (const auto& c : cases) {
        Measure(
            {.ch1Absolute = 30'000, .ch2Absolute = 500, .ch1Polarized = c.polarized, .ch2Polarized = 400});
        const VirtualReadings values = Read();
        EXPECT_EQ(values.net.watts, c.net);
        EXPECT_EQ(values.bought.watts, c.bought);
        EXPECT_EQ(values.sold.watts, c.sold);
        EXPECT_EQ(values.used.watts, c.net - 30);
        EXPECT_EQ(GridText(values.net.watts).toStdString(), c.text);
    }
    Measure({.ch1Absolute = 36'000'000, .ch2Absolute = 500, .ch2Polarized = 18'000'400});
    EXPECT_EQ(VirtualLines(virtualChannels_), LinesOf("VirtualLines"));
    Set(u"Roll1A"_s, u"2"_s, u"1"_s);
    Set(u"Roll1P"_s, u"1"_s, u"1"_s);
    Send({.ch1Absolute = 36'000'000, .ch2Absolute = 500, .ch2Polarized = 18'000'400, .seconds = seconds_});
    const VirtualReadings wrapped = Read();
    EXPECT_EQ(wrapped.main.watts, 3'600'000)
        << "where a packet gives no power, that of the one before stands";
    EXPECT_EQ(wrapped.sold.wattSeconds, 1099511627776);
    EXPECT_EQ(wrapped.bought.wattSeconds, 1099511627776 + 36'000'000);

    Set(u"NETmeter"_s, u"False"_s);
    const VirtualReadings off = Read();
    for (const Flow& flow : {off.net, off.generated, off.used, off.bought, off.sold})
        EXPECT_THAT((std::vector{flow.watts, flow.wattSeconds}), ElementsAre(0, 0));
    EXPECT_EQ(off.main.watts, 3'600'000);
}

TEST_F(VirtualChannelsTest, SumsHoldEveryChosenChannelOnceAndOtherIsWhatIsLeft) {
    EXPECT_TRUE(groups_.Choose(ChannelGroup::MainPanel, {u"A:CH1"_s, u"A:CH2"_s, u"A:CH1"_s}));
    Set(u"cbo120_13"_s, u"a:ch2"_s);
    EXPECT_TRUE(groups_.Choose(ChannelGroup::Virtual2, {u"A:AUX5"_s, u"B:AUX1"_s}));
    EXPECT_TRUE(groups_.Choose(ChannelGroup::Loads, {u"A:AUX1"_s, u"B:AUX2"_s}));
    Measure({.ch1Absolute = 10'000,
             .ch2Absolute = 7000,
             .ch1Polarized = 9000,
             .ch1Hundredths = 1230,
             .ch2Hundredths = 710,
             .aux = {3000, 0, 0, 0, 50}});
    Measure({.ch1Absolute = 9999, .serialNumber = 5678, .unitId = 4, .aux = {400, 2000}});
    VirtualReadings values = Read();
    EXPECT_EQ(values.main.wattSeconds, 17'000);
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
    const MonitorState b = {.ch1Absolute = 8000, .serialNumber = 5678, .unitId = 4};
    Set(u"cbo120_0"_s, u"A:CH1"_s);
    Set(u"cbo125_0"_s, u"B:CH1"_s);
    Set(u"EnableVD1"_s, u"True"_s);
    Measure({.ch1Absolute = 5000});
    EXPECT_THAT(Read().missing, ElementsAre(2));
    EXPECT_EQ(virtualChannels_.RowWith(A()), std::nullopt) << "the energy of B, and of Other, is not known";
    Set(u"NETmeter"_s, u"True"_s);
    EXPECT_TRUE(virtualChannels_.RowWith(A()).has_value()) << "Other is not in this row";
    Set(u"NETmeter"_s, u"False"_s);
    Set(u"cbo120_1"_s, u"B:CH1"_s);
    Measure(b);
    EXPECT_THAT(Read().missing, ElementsAre());
    EXPECT_EQ(Read().main.watts, 1300);

    clock_.AdvanceSeconds(60);
    Measure(b);
    EXPECT_TRUE(virtualChannels_.GoWith(1));
    EXPECT_FALSE(virtualChannels_.GoWith(2)) << "A is the lowest on line";
    clock_.AdvanceSeconds(60);
    EXPECT_THAT(Read().missing, ElementsAre(1));
    EXPECT_EQ(Read().main.watts, 800);
    EXPECT_EQ(Read().main.wattSeconds, 13'000);
    EXPECT_EQ(VirtualLines(virtualChannels_).last(),
              u"Device A is off line: its power is missing from these sums."_s);
    EXPECT_TRUE(virtualChannels_.GoWith(2));
    EXPECT_EQ(virtualChannels_.RowWith(Of(2))->channels[0].absolute.current, 13'000);
    Set(u"EnableVD1"_s, u"False"_s);
    EXPECT_FALSE(virtualChannels_.GoWith(2));
}

TEST_F(VirtualChannelsTest, TheRowsChannelsFollowTheInstallation) {
    const char* const channels[] = {"A:CH1", "A:CH2", "A:AUX1", "A:AUX2", "A:AUX3", "A:AUX4"};
    for (int row = 0; row < 6; ++row)
        Set(u"cbo12%1_0"_s.arg(row), QString::fromLatin1(channels[row]));
    Set(u"EnableVD1"_s, u"True"_s);
    Measure({.ch1Absolute = 36'000,
             .ch2Absolute = 18'000,
             .ch1Polarized = 27'000,
             .ch1Hundredths = 2000,
             .aux = {3600, 7200, 10'800, 14'400}});
    // Once without net metering, then with it.
    for (const QString& values : LinesOf("VirtualRows")) {
        EXPECT_THAT(sql::MinuteRow(*virtualChannels_.RowWith(A())), EndsWith(values.toStdString()));
        Set(u"NETmeter"_s, u"True"_s);
    }
}

TEST_F(VirtualChannelsTest, ChoicesThatCannotBeReadAreToldAndLeftOut) {
    QStringList problems;
    QObject::connect(&settings_, &SettingsStore::Problem,
                     [&problems](const QString& text) { problems.append(text); });
    for (const char* text : {"A:CH3", "G:CH1", "ACH1", "A:CH1:", ""})
        Set(u"cbo121_0"_s, QString::fromLatin1(text));
    EXPECT_EQ(problems.size(), 4);
    EXPECT_TRUE(problems.first().contains(u"cbo121_0 is \"A:CH3\""_s));
    EXPECT_TRUE(groups_.Empty());

    QStringList many;
    for (std::size_t i = 0; i < 15; ++i)
        many.append(
            ChannelChoice{.slot = 1 + static_cast<int>(i / kChannels), .channel = i % kChannels}.Text());
    EXPECT_EQ(groups_.Choose(ChannelGroup::Loads, many).Error(), u"A group has room for 14 channels."_s);
    EXPECT_EQ(groups_.Choose(ChannelGroup::Loads, {}).Error(),
              u"No Device and Device Channel has been selected. Make selection and try again"_s);
    EXPECT_TRUE(groups_.Choose(ChannelGroup::Loads, many.first(14)));
    EXPECT_EQ(ChannelGroups(settings_).TextsOf(ChannelGroup::Loads), many.first(14));
}

}  // namespace
}  // namespace corvane
