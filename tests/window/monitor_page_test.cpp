#include <QComboBox>
#include <QPlainTextEdit>

#include <gtest/gtest.h>

#include <algorithm>

#include "sim/command_listener.h"
#include "sim/simulated_monitor.h"
#include "sim/tcp_line.h"
#include "support/settings_by_key.h"
#include "window/person.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const QString kPage = u"monitor"_s;

TEST_F(WindowTest, AMonitorIsStoppedReadAndSet) {
    Preset(u"DevSerial"_s, u"300007"_s, u"0"_s);
    Preset(u"DeviceQTY"_s, u"2"_s);
    Open(kPage);
    SimulatedMonitor monitor({.serial = {.unitId = 3, .number = 7}, .interval = 3});
    TcpLine line(clock);
    const CommandListener listener(monitor, line, clock);
    line.KeepConnected(u"127.0.0.1"_s, program_->tcpA.LocalPort());
    ASSERT_TRUE(
        SpinUntil([&] { return line.State() == LineState::Ready && program_->tcpA.Connections() > 0; }));
    auto* settings = Find<QPlainTextEdit>(kPage, u"Settings of the monitor"_s);
    Find<QLineEdit>(kPage, u"Packet send frequency, seconds"_s)->setText(u"30"_s);
    Find<QLineEdit>(kPage, u"Current transformer of CH1, type"_s)->setText(u"9"_s);
    Find<QLineEdit>(kPage, u"Current transformer of CH1, range"_s)->setText(u"4"_s);
    const std::tuple<QString, std::vector<Step>, Operation> commands[] = {
        {u"Stop"_s, {}, Operation::StopRealtime},
        {u"Read Settings"_s, {{"too low for multi-device operation", No}}, Operation::ReadSettings},
        {u"Set Packet send frequency"_s, {}, Operation::SendFrequency},
        {u"Set Current transformer of CH1"_s, {}, Operation::Ct1},
        {u"One packet"_s, {}, Operation::OnePacket},
        {u"Start"_s, {}, Operation::StartRealtime},
        {u"Reset accumulated values..."_s, {{"reset all accumulated", Yes}}, Operation::ResetKwh},
        {u"Erase data logger..."_s, {{"erases all records", Yes}}, Operation::EraseLogger},
        {u"Restart..."_s, {{"restarts the monitor", Yes}}, Operation::Restart},
        {u"Pass-through..."_s, {{"manualy cycled", Yes}}, Operation::PassThrough},
    };
    for (const auto& [button, steps, operation] : commands) {
        SCOPED_TRACE(button.toStdString());
        const std::size_t before = listener.CarriedOut().size();
        Click(kPage, button);
        auto* pressed = Find<QAbstractButton>(kPage, button);
        EXPECT_FALSE(pressed->isEnabled()) << "one thing at a time";
        EXPECT_FALSE(Find<QComboBox>(kPage, u"Command target"_s)->isEnabled()) << "to one monitor";
        EXPECT_TRUE(steps.empty() || SpinUntil([this] {
                        clock.Advance(10);
                        return Box() != nullptr;
                    }));
        Through(steps);
        EXPECT_TRUE(SpinUntil([&] {
            clock.Advance(10);
            return listener.CarriedOut().size() > before && pressed->isEnabled();
        }));
        const auto& done = listener.CarriedOut();
        EXPECT_EQ(std::count(done.begin() + static_cast<std::ptrdiff_t>(before), done.end(), operation), 1);
        EXPECT_EQ(settings->toPlainText().contains(u"Packet Send Frequency"_s),
                  operation != Operation::StopRealtime);
    }
    EXPECT_EQ(listener.Settings().Raw(MonitorSetting::SendFrequency), 30);
    EXPECT_EQ(listener.Settings().Raw(MonitorSetting::Ct1Type), 9);
    EXPECT_EQ(listener.Settings().Raw(MonitorSetting::Ct1Range), 4);
    clock.EndWaits();
}

TEST_F(WindowTest, AMonitorThatGoesOnSendingIsNotRead) {
    Preset(u"DevSerial"_s, u"300007"_s, u"0"_s);
    Open(kPage);
    SimulatedMonitor monitor({.serial = {.unitId = 3, .number = 7}});
    TcpLine line(clock);
    const CommandListener listener(monitor, line, clock, {.busy = true});
    line.KeepConnected(u"127.0.0.1"_s, program_->tcpA.LocalPort());
    ASSERT_TRUE(
        SpinUntil([&] { return line.State() == LineState::Ready && program_->tcpA.Connections() > 0; }));
    Click(kPage, u"Read Settings"_s);
    EXPECT_TRUE(SpinUntil([this] {
        clock.Advance(10);
        return Box() != nullptr;
    }));
    Through({{"Turn off realtime data first and try again."}});
    clock.EndWaits();
}

TEST_F(WindowTest, WhatAMonitorWasSetToIsComparedWithWhatItIs) {
    Open(kPage);
    KeepByKey(program_->settings, u"DevSerial"_s, u"300007"_s, u"0"_s);
    SettingsBlock block;
    block.bytes[0] = kAcknowledgement;
    block.Set(MonitorSetting::UnitId, 3);
    block.Set(MonitorSetting::SerialNumber, 7);
    for (const int frequency : {8, 15, 20}) {
        block.Set(MonitorSetting::SendFrequency, frequency);
        ASSERT_TRUE(program_->monitorHistory.Keep(block, LocalTimeAt(1'772'446'830 + frequency)));
    }
    ShowPage(kPage);
    const auto* changed = Find<QPlainTextEdit>(kPage, u"What changed"_s);
    EXPECT_EQ(changed->toPlainText(), u"Packet Send Frequency: 15 -> 20"_s) << "since the time before";
    for (const auto& [from, text] :
         {std::pair(0, u"Packet Send Frequency: 8 -> 20"_s), std::pair(2, u"Nothing differs."_s)}) {
        Find<QComboBox>(kPage, u"Compare from"_s)->setCurrentIndex(from);
        EXPECT_EQ(changed->toPlainText(), text);
    }
}

}  // namespace
}  // namespace corvane
