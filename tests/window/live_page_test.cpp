#include <QAbstractItemModelTester>
#include <QImage>
#include <QLabel>
#include <QTableView>
#include <QTcpServer>

#include <cstdlib>
#include <set>

#include "support/packets.h"
#include "support/settings_by_key.h"
#include "window/live/power_trace.h"
#include "window/live/recent_power.h"
#include "window/parts/palette.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
class LivePageTest : public WindowTest {
protected:
    /// Packets as they are measured, a second apart; device A is bound to 301234.
    void Take(const MonitorState& state) {
        const Bytes packet = PacketOf(state);
        program_->measurement.DisplayData(0, packet);
    }

    /// A second of `watts` on CH1, an eighth of that on AUX1.
    void TakeSecondOf(std::uint32_t watts) {
        clock.AdvanceSeconds(1);
        ++monitor_.seconds;
        monitor_.ch1Absolute += watts;
        monitor_.aux[0] += watts / 8;
        Take(monitor_);
    }

    /// The texts of the page that are not hidden, one a line.
    std::string Shown() {
        clock.AdvanceSeconds(1);            // the page looks once a second
        QCoreApplication::processEvents();  // what is new appears
        std::string texts;
        for (const QLabel* label : Page()->findChildren<QLabel*>()) {
            if (label->isVisible()) texts += label->text().toStdString() + '\n';
        }
        return texts;
    }

    QWidget* Page() { return window_->findChild<QWidget*>(u"live"_s); }
    QTableView* Table() { return Find<QTableView>(u"live"_s, u"Channels of Device A"_s); }
    QString Cell(int row, int column) { return Table()->model()->index(row, column).data().toString(); }

    PowerTrace* Trace() { return Page()->findChild<PowerTrace*>(); }

    /// How many pixels of the trace of Device A are of the hue of that channel, however faint.
    int PixelsOf(std::size_t channel) {
        const QImage image = Trace()->grab().toImage();
        const auto& colors = PaletteOn(Trace()->palette().color(QPalette::Base)).channels;
        int found = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QColor pixel = image.pixelColor(x, y);
                const int distance = std::abs(pixel.hsvHue() - colors[channel].hsvHue());
                found += pixel.hsvSaturation() > 40 && distance < 8 ? 1 : 0;
            }
        }
        return found;
    }

    const Palette& Colors() { return PaletteOn(Page()->palette().color(QPalette::Base)); }
    static std::string Dotted(const QColor& color, const std::string& text) {
        return "<span style=\"color:" + color.name().toStdString() + "\">&#9679;</span> " + text + '\n';
    }

    MonitorState monitor_{.voltTenths = 1213, .ch1Absolute = 3600000, .ch1Hundredths = 1234, .seconds = 5};
};

TEST_F(LivePageTest, WithoutAMonitorItTellsHowToConnectOne) {
    QTcpServer taken;
    ASSERT_TRUE(taken.listen(QHostAddress::Any));
    Preset(u"TcpPortB"_s, QString::number(taken.serverPort()));
    Open();
    const std::string steps =
        "No monitor is connected yet\n1.  Connect the monitor. By a serial cable or a USB adapter: plug it "
        "in, then "
        "open its port on the Connections tab. By a network gateway: let the gateway send to this computer "
        "(TCP "
        "Server A: port " +
        std::to_string(program_->tcpA.LocalPort()) +
        ", B: port closed).\n\n2.  Bind it to a device on the Devices tab, by its serial number.\n\n3.  Come "
        "back: "
        "its values are here as soon as its next packet comes.\n";
    EXPECT_EQ(Shown(), steps);
    for (const std::uint8_t byte : PacketOf(monitor_))
        program_->framer.ProcessByte(0, byte);
    EXPECT_EQ(Shown(),
              steps + "1 packets have come, from monitors that no device is bound to: step 2 is next.\n");
    ASSERT_TRUE(program_->deviceSlots.SaveSerial(2, u"301234"_s));
    EXPECT_EQ(Shown(),
              "Device A\n\nNot bound to a monitor: choose one on the Devices tab\nDevice B\n301234\n" +
                  Dotted(Colors().stale, "Waiting for the first packet"));
}

TEST_F(LivePageTest, ACardShowsWhatTheMonitorSaysAndThatItFellSilent) {
    Open();
    ASSERT_TRUE(program_->deviceSlots.SaveSerial(1, u"301234"_s));
    ASSERT_TRUE(program_->database.Run("UPDATE applicationinfo SET aux1alias = 'Fridge' WHERE id = 1").Ok());
    Shown();
    const QAbstractItemModelTester tester(Table()->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    Take(monitor_);
    Shown();
    EXPECT_EQ(Cell(0, 1), u"–"_s) << "one packet gives no power";
    TakeSecondOf(800);
    const std::string head = "Device A\n121.3 V\n301234  ·  VRQ-5810\n";
    const struct {
        std::int64_t silence;  ///< seconds since the step before, with that in which the page looks
        std::string state;
        bool live;
    } steps[] = {{1, Dotted(Colors().live, "On line") + "  last packet 10:20:33\n", true},
                 {13, Dotted(Colors().live, "On line") + "  last packet 10:20:33\n", true},
                 {1, Dotted(Colors().stale, "<b>Stale</b>") + "  last packet 10:20:33\n", false},
                 {105, Dotted(Colors().stale, "<b>Off line since 10:20:33</b>"), false},
                 {0, Dotted(Colors().stale, "<b>Off line since 2026-03-02 10:20:33</b>"), false}};
    const QStringList rows[] = {{u"CH1"_s, u"800 W"_s, u"12.3 A"_s, u"1.000 KWh"_s},
                                {u"CH2"_s, u"0 W"_s, u"0 A"_s, u"0.000 KWh"_s},
                                {u"AUX1  Fridge"_s, u"100 W"_s, u""_s, u"0.000 KWh"_s}};
    for (const auto& step : steps) {
        if (step.silence == 0) clock.Jump(86400);  // another day
        clock.AdvanceSeconds(std::max<std::int64_t>(step.silence - 1, 0));
        EXPECT_EQ(Shown(), head + step.state);
        const auto at = [this](int column) { return Table()->model()->index(0, column); };
        EXPECT_EQ(at(1).data(Qt::ForegroundRole).isValid(), !step.live) << "faded";
        EXPECT_EQ(at(1).data(Qt::FontRole).value<QFont>().bold(), step.live);
        EXPECT_EQ(at(1).data(Qt::FontRole).value<QFont>().italic(), !step.live);
        EXPECT_FALSE(at(0).data(Qt::FontRole).value<QFont>().bold() ||
                     at(0).data(Qt::FontRole).value<QFont>().italic());
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 4; ++column)
                EXPECT_EQ(Cell(row, column), rows[row][column]) << row << " " << column;
    }
    const auto dot = Table()->model()->index(2, 0).data(Qt::DecorationRole).value<QIcon>().pixmap(64);
    EXPECT_EQ(dot.toImage().pixelColor(32, 32), Colors().channels[2]);
    EXPECT_EQ(Table()->model()->index(2, 0).data(Qt::ToolTipRole), u"AUX1  Fridge"_s);

    monitor_.model = Model::TwoChannel;
    TakeSecondOf(800);
    Shown();
    EXPECT_EQ(Table()->model()->rowCount(), 2);
    ASSERT_TRUE(program_->deviceSlots.SaveSerial(1, u"305555"_s));
    EXPECT_EQ(Shown(), "Device A\n305555\n" + Dotted(Colors().stale, "Waiting for the first packet"))
        << "the values are of another monitor";
}

TEST_F(LivePageTest, CardsStandInAsFewRowsAsAreReadableEachWithItsLabels) {
    Open();
    for (const int slot : {1, 2, 3, 4})
        ASSERT_TRUE(program_->deviceSlots.SaveSerial(slot, u"30123%1"_s.arg(slot)));
    ASSERT_TRUE(program_->database.Run("UPDATE applicationinfo SET ch1alias = 'Heat ' || id").Ok());
    monitor_.serialNumber = 1232;
    Take(monitor_);
    Shown();
    EXPECT_EQ(Find<QTableView>(u"live"_s, u"Channels of Device B"_s)->model()->index(0, 0).data(),
              u"CH1  Heat 2"_s);
    const int card = window_->fontMetrics().averageCharWidth() * 76;
    for (const auto& [wide, columns] : {std::pair(2.1, 2), {3.5, 2}, {4.5, 4}}) {
        window_->resize(static_cast<int>(card * wide), 900);
        Shown();
        ASSERT_EQ(Page()->width() / card, static_cast<int>(wide));
        std::set<int> lefts;
        for (const PowerTrace* trace : Page()->findChildren<PowerTrace*>())
            lefts.insert(trace->parentWidget()->parentWidget()->x());
        EXPECT_EQ(lefts.size(), columns) << wide;
    }
}

TEST_F(LivePageTest, AnInputThatCountsPulsesShowsItsFlow) {
    Open();
    ASSERT_TRUE(program_->deviceSlots.SaveSerial(1, u"301234"_s));
    ASSERT_TRUE(program_->pulses.SetUp(1, u"AUX1"_s, u"2"_s, u"minute"_s, u"0.5"_s));
    KeepByKey(program_->settings, u"EnablePulseCnt"_s, u"True"_s, u"1"_s);
    Take(monitor_);
    TakeSecondOf(16);
    Shown();
    EXPECT_EQ(Cell(2, 1), u"60.00 GPM"_s);
    EXPECT_EQ(Cell(2, 3), u"1.00 Gals"_s);
    EXPECT_EQ(Cell(0, 1), u"16 W"_s);
}

TEST_F(LivePageTest, TheTraceMovesAndNeverBridgesASilence) {
    Open();
    ASSERT_TRUE(program_->deviceSlots.SaveSerial(1, u"301234"_s));
    Take(monitor_);
    for (int i = 0; i < 60; ++i) {
        TakeSecondOf(i % 7 == 0 ? 200 : 800);
        if (i % 3 == 0) Trace()->grab();
    }
    Shown();
    const int drawn = PixelsOf(0);
    EXPECT_GT(drawn, 10);
    const QImage bitByBit = Trace()->grab().toImage();
    const auto solid = [this](std::size_t channel) {
        const QImage image = Trace()->grab().toImage();
        int found = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                found += image.pixelColor(x, y) == Colors().channels[channel] ? 1 : 0;
        return found;
    };
    const int thin = solid(2);
    EXPECT_GT(solid(0), 10);
    Table()->selectRow(2);
    EXPECT_EQ(solid(0), 0) << "faded";
    EXPECT_GT(solid(2), thin);
    Table()->clearSelection();
    EXPECT_EQ(Trace()->grab().toImage(), bitByBit) << "only what was new had been drawn";
    EXPECT_EQ(PixelsOf(3), 0) << "AUX2 is hidden behind the channels in front of it";
    clock.AdvanceSeconds(130);
    monitor_.seconds += 130;
    TakeSecondOf(800);
    Shown();
    EXPECT_NEAR(PixelsOf(0), drawn, 8) << "moved, and not joined to the new point";
    clock.AdvanceSeconds(300);
    Shown();
    EXPECT_EQ(PixelsOf(0), 0) << "all of it has moved out";
}

TEST(RecentPower, KeepsFiveMinutesAndTheSampleBeforeThemAndNoMoreThanItMay) {
    FakeClock clock;
    RecentPower recent(clock);
    DeviceReadings readings;
    readings.slot = 2;
    const auto& kept = recent.Of(2);
    const std::pair<std::int64_t, std::vector<std::int64_t>> steps[] = {
        {0, {0}},
        {300'001, {0, 300'001}},
        {1, {0, 300'001, 300'002}},
        {299'999, {0, 300'001, 300'002, 600'001}},
        {1, {300'001, 300'002, 600'001, 600'002}}};
    for (const auto& [pause, times] : steps) {
        clock.Advance(pause);
        recent.OnReadings(readings);
        std::vector<std::int64_t> at;
        std::ranges::transform(kept, std::back_inserter(at), &RecentPower::Sample::at);
        EXPECT_EQ(at, times) << pause;
    }
    for (int i = 0; i < 700; ++i)
        recent.OnReadings(readings);
    EXPECT_EQ(kept.size(), 600U);
    EXPECT_TRUE(recent.Of(1).empty());
}

}  // namespace
}  // namespace corvane
