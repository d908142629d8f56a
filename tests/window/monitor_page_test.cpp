#include <QComboBox>
#include <QPlainTextEdit>

#include <gmock/gmock.h>

#include "sim/command_listener.h"
#include "sim/simulated_monitor.h"
#include "sim/tcp_line.h"
#include "support/settings_by_key.h"
#include "window/window_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;
using testing::HasSubstr;

const QString kPage = u"monitor"_s;

TEST_F(WindowTest, AMonitorIsNotTouchedByWhatItCouldNotTakeOrNobodyAgreedTo) {
    Open(kPage);
    const struct {
        std::vector<std::pair<QString, QString>> entries;
        QString button;
        QMessageBox::StandardButton answer;  ///< to the question, if there is one
        const char* text;
    } cases[] = {
        {{{u"Current transformer of CH1, type"_s, u"4"_s}, {u"Current transformer of CH1, range"_s, u"8"_s}},
         u"Set Current transformer of CH1"_s,
         {},
         "Invalid CT Range value."},
        {{{u"Packet send frequency, seconds"_s, u"256"_s}},
         u"Set Packet send frequency"_s,
         {},
         "Value is greater than one byte or not numeric"},
        {{{u"AUX constant, constant"_s, u"0"_s}},
         u"Set AUX constant"_s,
         {},
         "Improper constant value must be 1 - 255"},
        {{}, u"Read Settings"_s, {}, "This port is not Open or Connected"},
        {{}, u"Reset accumulated values..."_s, QMessageBox::No, "Reset aborted!"},
        {{}, u"Zero carry counters..."_s, QMessageBox::Yes, "Aborted"},
        {{}, u"Pass-through..."_s, QMessageBox::No, "Pass-through mode was not entered."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        for (const auto& [entry, text] : c.entries)
            Find<QLineEdit>(kPage, entry)->setText(text);
        Click(kPage, c.button);
        if (c.answer != QMessageBox::NoButton) {
            ASSERT_NE(BoxText(), "");
            Answer(c.answer);
        }
        EXPECT_THAT(BoxText(), HasSubstr(c.text));
        Answer(QMessageBox::Ok);
    }
}

TEST_F(WindowTest, AMonitorIsStoppedReadAndSet) {
    Preset(u"DevSerial"_s, u"300007"_s, u"0"_s);
    Open(kPage);
    SimulatedMonitor monitor({.serial = {.unitId = 3, .number = 7}});
    TcpLine line(clock);
    const CommandListener listener(monitor, line, clock);
    line.KeepConnected(u"127.0.0.1"_s, program_->tcpA.LocalPort());
    ASSERT_TRUE(
        SpinUntil([&] { return line.State() == LineState::Ready && program_->tcpA.Connections() > 0; }));
    const auto run = [this](const QString& button, auto isDone) {
        Click(kPage, button);
        EXPECT_TRUE(SpinUntil([&] {
            clock.Advance(10);
            return isDone() && Find<QAbstractButton>(kPage, button)->isEnabled();
        })) << button.toStdString();
    };
    run(u"Stop"_s, [&] { return !monitor.SendsRealtime(); });
    auto* settings = Find<QPlainTextEdit>(kPage, u"Settings of the monitor"_s);
    run(u"Read Settings"_s, [&] { return settings->toPlainText().contains(u"Packet Send Frequency"_s); });
    Find<QLineEdit>(kPage, u"Packet send frequency, seconds"_s)->setText(u"30"_s);
    run(u"Set Packet send frequency"_s,
        [&] { return listener.Settings().Raw(MonitorSetting::SendFrequency) == 30; });
    run(u"Start"_s, [&] { return monitor.SendsRealtime(); });
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
    EXPECT_EQ(BoxText(), "Turn off realtime data first and try again.");
    Answer(QMessageBox::Ok);
    clock.EndWaits();
}

TEST_F(WindowTest, WhatAMonitorWasSetToIsComparedWithWhatItIs) {
    Open(kPage);
    KeepByKey(program_->settings, u"DevSerial"_s, u"300007"_s, u"0"_s);
    SettingsBlock block;
    block.bytes[0] = kAcknowledgement;
    block.Set(MonitorSetting::UnitId, 3);
    block.Set(MonitorSetting::SerialNumber, 7);
    for (const int frequency : {8, 15}) {
        block.Set(MonitorSetting::SendFrequency, frequency);
        ASSERT_TRUE(program_->monitorHistory.Keep(block, LocalTimeAt(1'772'446'830 + frequency)));
    }
    ShowPage(kPage);
    EXPECT_EQ(Find<QComboBox>(kPage, u"Compare from"_s)->count(), 2);
    EXPECT_EQ(Find<QPlainTextEdit>(kPage, u"What changed"_s)->toPlainText(),
              u"Packet Send Frequency: 8 -> 15"_s);
}

}  // namespace
}  // namespace corvane
