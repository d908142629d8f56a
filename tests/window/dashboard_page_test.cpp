#include <QLabel>
#include <QMenu>
#include <QPushButton>

#include <gmock/gmock.h>

#include "measure/channel_groups.h"
#include "support/packets.h"
#include "support/settings_by_key.h"
#include "window/parts/gauge.h"
#include "window/parts/palette.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;

class DashboardPageTest : public WindowTest {
protected:
    void OpenDashboard() {
        Preset(u"COMtab"_s, u"1"_s);
        Open();
        for (const int slot : {1, 2})
            ASSERT_TRUE(program_->deviceSlots.SaveSerial(slot, u"30000%1"_s.arg(slot)));
    }

    /// A first packet of the monitor of device A or B, then one a second later with these powers.
    void Measure(std::uint16_t serial, std::uint64_t ch1, std::uint64_t ch1Polarized,
                 std::uint32_t aux1 = 0) {
        MonitorState state{.ch1Absolute = 3600000, .serialNumber = serial, .ch1Hundredths = 2510};
        program_->measurement.DisplayData(0, PacketOf(state));
        clock.AdvanceSeconds(1);
        ++state.seconds;
        state.ch1Absolute += ch1;
        state.ch1Polarized += ch1Polarized;
        state.aux[0] += aux1;
        program_->measurement.DisplayData(0, PacketOf(state));
        Look();
    }

    void Look() {
        clock.AdvanceSeconds(1);
        QCoreApplication::processEvents();
    }

    QWidget* Page() { return window_->findChild<QWidget*>(u"dashboard"_s); }

    /// What the gauge of that title shows, as people hear it read.
    std::string Told(const QString& title) {
        const Gauge* gauge = Find<Gauge>(u"dashboard"_s, title);
        return gauge == nullptr ? "none" : gauge->accessibleDescription().toStdString();
    }

    std::vector<std::string> Titles() {
        std::vector<std::string> titles;
        for (const Gauge* gauge : Page()->findChildren<Gauge*>())
            titles.push_back(gauge->accessibleName().toStdString());
        return titles;
    }

    /// How much of the gauge left and right of its middle has this color.
    std::pair<int, int> Sides(const QString& title, QColor color) {
        const QImage image = Find<Gauge>(u"dashboard"_s, title)->grab().toImage();
        std::pair<int, int> found;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixelColor(x, y) != color) continue;
                ++(x < image.width() / 2 ? found.first : found.second);
            }
        }
        return found;
    }
};

TEST_F(DashboardPageTest, NetMeteringIsToldInWordsColorAndSign) {
    Preset(u"NETmeter"_s, u"True"_s);
    OpenDashboard();
    ASSERT_TRUE(program_->channelGroups.Choose(ChannelGroup::MainPanel, {u"A:CH1"_s}));
    ASSERT_TRUE(program_->channelGroups.Choose(ChannelGroup::Generator, {u"B:CH1"_s}));
    Measure(2, 4000, 0);
    Measure(1, 3000, 2000);
    EXPECT_THAT(Titles(), ElementsAre("Net", "Generation", "Used", "Main Panel"));
    EXPECT_EQ(Told(u"Net"_s), "-1000 W, Sending Power to the Grid, Net Energy From Grid  1.000 kWh");
    EXPECT_EQ(Told(u"Generation"_s), "4000 W, Power Being Generated, Generated Energy  1.001 kWh");
    EXPECT_EQ(Told(u"Used"_s), "3000 W, Energy Consumed By Home Loads, 2.001 kWh");
    EXPECT_EQ(Told(u"Main Panel"_s), "3000 W, 25.1 A, 1.001 kWh");
    const Palette& colors = PaletteOn(window_->palette().color(QPalette::Base));
    const struct {
        QString title;
        double amount;
        bool bothWays;
        QColor color;
        QColor otherWay;
    } gauges[] = {{u"Net"_s, -1000, true, colors.FromGrid(), colors.Generated()},
                  {u"Generation"_s, 4000, false, colors.Generated(), colors.FromGrid()},
                  {u"Used"_s, 3000, false, colors.Used(), colors.Used()},
                  {u"Main Panel"_s, 3000, false, colors.Used(), colors.Generated()}};
    for (const auto& gauge : gauges) {
        const GaugeReading& shown = Find<Gauge>(u"dashboard"_s, gauge.title)->Reading();
        EXPECT_EQ(shown.amount, gauge.amount) << gauge.title.toStdString();
        EXPECT_EQ(shown.bothWays, gauge.bothWays) << gauge.title.toStdString();
        EXPECT_TRUE(shown.color == gauge.color && shown.otherWay == gauge.otherWay)
            << gauge.title.toStdString();
    }
    const auto [sentLeft, sentRight] = Sides(u"Net"_s, colors.Generated());
    EXPECT_GT(sentLeft, 10 * sentRight) << "what is sent goes to the left";
    Measure(1, 3000, 0);
    EXPECT_EQ(Told(u"Net"_s).substr(0, 38), "3000 W, Receiving Power From the Grid,");
    const auto [takenLeft, takenRight] = Sides(u"Net"_s, colors.FromGrid());
    EXPECT_GT(takenRight, 10 * takenLeft);
    EXPECT_EQ(Sides(u"Net"_s, colors.Generated()), std::pair(0, 0));

    KeepByKey(program_->settings, u"NegGen"_s, true);
    Measure(2, 500, 900);
    EXPECT_EQ(Told(u"Main Panel"_s).substr(0, 13), "3000 W (net),");
    EXPECT_TRUE(Find<Gauge>(u"dashboard"_s, u"Main Panel"_s)->Reading().bothWays);
    EXPECT_EQ(Told(u"Generation"_s).substr(0, 35), "-1300 W, Power Consumed By Inverter");
    clock.AdvanceSeconds(119);
    Measure(1, 3000, 0);
    EXPECT_TRUE(Told(u"Used"_s).ends_with("off line"));
    EXPECT_FALSE(Told(u"Net"_s).ends_with("off line"));
    EXPECT_TRUE(Find<QLabel>(u"dashboard"_s, u"Device B is off line: its power is missing from these sums."_s)
                    ->isVisible());
    ASSERT_TRUE(program_->channelGroups.Choose(ChannelGroup::Virtual2, {u"A:AUX1"_s}));
    ASSERT_TRUE(program_->channelGroups.Choose(ChannelGroup::Loads, {u"A:AUX1"_s}));
    Measure(1, 3000, 0, 700);
    EXPECT_THAT(Titles(),
                ElementsAre("Net", "Generation", "Used", "Main Panel", "Virtual Channel 2", "Other"));
    EXPECT_EQ(Told(u"Virtual Channel 2"_s), "700 W, 0.000 kWh");
    EXPECT_EQ(Told(u"Other"_s).substr(0, 7), "2300 W,");
}

TEST_F(DashboardPageTest, ChannelsAreChosenAndRemembered) {
    OpenDashboard();
    EXPECT_TRUE(Titles().empty());
    auto* empty = Find<QLabel>(
        u"dashboard"_s, u"Gauges appear here once a monitor sends. The Live tab tells how to connect one."_s);
    EXPECT_TRUE(empty->isVisible());
    Measure(1, 700, 0, 12);
    EXPECT_FALSE(empty->isVisible());
    EXPECT_EQ(Find<QLabel>(u"dashboard"_s, u"Last packet"_s)->text(), u"Mon, Mar 02, 10:20:31 am"_s);
    EXPECT_EQ(Find<QLabel>(u"dashboard"_s, u"Line voltage"_s)->text(), u"120.5 Volt"_s);
    EXPECT_THAT(Titles(), ElementsAre("A  CH1", "A  CH2"));
    auto* menu = Find<QPushButton>(u"dashboard"_s, u"Channels"_s)->menu();
    const auto toggle = [menu](int device, int channel) {
        Q_EMIT menu->aboutToShow();
        menu->actions().at(device)->menu()->actions().at(channel)->trigger();
    };
    Q_EMIT menu->aboutToShow();
    std::string offered;
    for (const QAction* device : menu->actions())
        for (const QAction* channel : device->menu()->actions())
            offered += channel->isChecked() ? channel->text().toStdString() + ' ' : "-";
    EXPECT_EQ(offered, "CH1 CH2 -----CH1 CH2 -----");
    EXPECT_EQ(menu->actions().at(1)->text(), u"Device &B"_s);
    toggle(0, 1);
    toggle(0, 2);
    EXPECT_THAT(Titles(), ElementsAre("A  CH1", "A  AUX1")) << "device B has not sent anything";
    EXPECT_EQ(KeptByKey(program_->settings, u"DashboardChannels"_s), u"A:CH1;B:CH1;B:CH2;A:AUX1"_s);
    EXPECT_EQ(Told(u"A  AUX1"_s), "12 W, 0.000 KWh");
    clock.Jump(-3600);
    Measure(2, 700, 0);
    EXPECT_EQ(Find<QLabel>(u"dashboard"_s, u"Last packet"_s)->text(), u"Mon, Mar 02, 09:20:33 am"_s)
        << "the last that came, though its stamp is an earlier one";
    for (const int channel : {0, 2})
        toggle(0, channel);
    for (const int channel : {0, 1})
        toggle(1, channel);
    Look();
    EXPECT_TRUE(Titles().empty()) << "none is a choice, too";
}

TEST_F(DashboardPageTest, AWallDisplayShowsTheGaugesAlone) {
    Preset(u"EnablePulseCnt"_s, u"True"_s, u"1"_s);
    OpenDashboard();
    ASSERT_TRUE(program_->pulses.SetUp(1, u"AUX1"_s, u"2"_s, u"hour"_s, u"0.5"_s));
    Measure(1, 700, 0, 2);
    EXPECT_EQ(Told(u"Flow  Device A"_s), "3600.00 GPH, 1.00 Gals");
    const int before = Page()->findChild<Gauge*>()->height();
    QTest::keyClick(window_.get(), Qt::Key_F11);
    Look();
    EXPECT_FALSE(Find<QPushButton>(u"dashboard"_s, u"Channels"_s)->isVisible());
    EXPECT_TRUE(window_->isFullScreen());
    EXPECT_GE(Page()->findChild<Gauge*>()->height(), before);
    KeepByKey(program_->settings, u"DashboardChannels"_s, u"A:CH1;A:CH2;A:AUX1;A:AUX2"_s);
    Look();
    for (const auto& [size, places] : {std::pair(QSize(1500, 300), "0,0 1,0 2,0 3,0 4,0 "),
                                       {QSize(900, 600), "0,0 1,0 2,0 0,1 1,1 "},
                                       {QSize(350, 1500), "0,0 0,1 0,2 0,3 0,4 "}}) {
        Page()->resize(size);
        Look();
        std::string shown;
        const auto gauges = Page()->findChildren<Gauge*>();
        for (const Gauge* gauge : gauges) {
            const QPoint step(gauges.at(0)->width(), gauges.at(0)->height());
            shown += std::to_string(gauge->x() / step.x()) + ',' +
                     std::to_string((gauge->y() - gauges.at(0)->y()) / step.y()) + ' ';
        }
        EXPECT_EQ(shown, places);
    }
    QTest::keyClick(window_.get(), Qt::Key_F11);
    Look();
    EXPECT_TRUE(Find<QPushButton>(u"dashboard"_s, u"Channels"_s)->isVisible());
}

}  // namespace
}  // namespace corvane
