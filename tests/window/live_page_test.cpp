#include <QAbstractItemModelTester>
#include <QImage>
#include <QLabel>
#include <QTableView>

#include <gmock/gmock.h>

#include <cstdlib>

#include "support/packets.h"
#include "support/settings_by_key.h"
#include "window/live/power_trace.h"
#include "window/parts/palette.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::HasSubstr;
using testing::Not;

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

    MonitorState monitor_{.voltTenths = 1213, .ch1Absolute = 3600000, .ch1Hundredths = 1234, .seconds = 5};
};

TEST_F(LivePageTest, WithoutAMonitorItTellsHowToConnectOne) {
    Open();
    EXPECT_THAT(Shown(),
                HasSubstr(QString(u"TCP Server A: port %1"_s).arg(program_->tcpA.LocalPort()).toStdString()));
    EXPECT_THAT(Shown(), Not(HasSubstr("packets have come")));
    for (const std::uint8_t byte : PacketOf(monitor_))
        program_->framer.ProcessByte(0, byte);
    EXPECT_THAT(Shown(), HasSubstr("1 packets have come, from monitors that no device is bound to"));
    ASSERT_TRUE(program_->deviceSlots.SaveSerial(2, u"301234"_s));
    EXPECT_THAT(Shown(), HasSubstr("Waiting for the first packet"));
    EXPECT_THAT(Shown(), HasSubstr("Not bound to a monitor")) << "slot A is in use, too";
    EXPECT_THAT(Shown(), Not(HasSubstr("Connect the monitor")));
}

TEST_F(LivePageTest, ACardShowsWhatTheMonitorSaysAndThatItFellSilent) {
    Open();
    ASSERT_TRUE(program_->deviceSlots.SaveSerial(1, u"301234"_s));
    ASSERT_TRUE(program_->database.Run("UPDATE applicationinfo SET aux1alias = 'Fridge' WHERE id = 1").Ok());
    Shown();
    const QAbstractItemModelTester tester(Table()->model(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    Take(monitor_);
    EXPECT_THAT(Shown(), HasSubstr("301234  ·  VRQ-5810"));
    EXPECT_EQ(Cell(0, 1), u"–"_s) << "one packet gives no power";
    TakeSecondOf(800);
    EXPECT_THAT(Shown(), testing::AllOf(HasSubstr("121.3 V"), HasSubstr("On line"),
                                        HasSubstr("last packet 10:20:33")));
    const QStringList rows[] = {{u"CH1"_s, u"800 W"_s, u"12.3 A"_s, u"1.000 KWh"_s},
                                {u"CH2"_s, u"0 W"_s, u"0 A"_s, u"0.000 KWh"_s},
                                {u"AUX1  Fridge"_s, u"100 W"_s, u""_s, u"0.000 KWh"_s}};
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 4; ++column)
            EXPECT_EQ(Cell(row, column), rows[row][column]) << row << " " << column;
    }
    const auto faded = [this] { return Table()->model()->index(0, 1).data(Qt::ForegroundRole).isValid(); };
    EXPECT_FALSE(faded());
    clock.AdvanceSeconds(118);
    EXPECT_THAT(Shown(), HasSubstr("Off line since 10:20:33"));
    EXPECT_TRUE(faded());
    EXPECT_EQ(Cell(0, 1), u"800 W"_s) << "the last value stays readable";

    monitor_.model = Model::TwoChannel;
    TakeSecondOf(800);
    Shown();
    EXPECT_EQ(Table()->model()->rowCount(), 2);
    ASSERT_TRUE(program_->deviceSlots.SaveSerial(1, u"305555"_s));
    EXPECT_THAT(Shown(), HasSubstr("Waiting for the first packet")) << "the values are of another monitor";
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
    Trace()->Emphasize(1);
    EXPECT_NE(Trace()->grab().toImage(), bitByBit);
    Trace()->Emphasize({});
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

}  // namespace
}  // namespace corvane
