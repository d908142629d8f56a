#include <QComboBox>
#include <QPlainTextEdit>

#include <gmock/gmock.h>

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
        {{{u"ct1 TYPE"_s, u"4"_s}, {u"ct1 RANGE"_s, u"8"_s}}, u"Set ct1"_s, {}, "Invalid CT Range value."},
        {{{u"iv2 SECONDS"_s, u"256"_s}}, u"Set iv2"_s, {}, "Value is greater than one byte or not numeric"},
        {{{u"aux CONSTANT"_s, u"0"_s}}, u"Set aux"_s, {}, "Improper constant value must be 1 - 255"},
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

TEST_F(WindowTest, WhatAMonitorWasSetToIsComparedWithWhatItIs) {
    MainWindow& window = Open(kPage);
    program_->settings.SaveSetting(u"DevSerial"_s, u"300007"_s, u"0"_s);
    SettingsBlock block;
    block.bytes[0] = kAcknowledgement;
    block.Set(Setting::UnitId, 3);
    block.Set(Setting::SerialNumber, 7);
    for (const int frequency : {8, 15}) {
        block.Set(Setting::SendFrequency, frequency);
        ASSERT_TRUE(program_->monitorHistory.Keep(block, LocalTimeAt(1'772'446'830 + frequency)));
    }
    window.ShowPage(kPage);
    EXPECT_EQ(Find<QComboBox>(kPage, u"Compare from"_s)->count(), 2);
    EXPECT_EQ(Find<QPlainTextEdit>(kPage, u"What changed"_s)->toPlainText(),
              u"Packet Send Frequency: 8 -> 15"_s);
}

}  // namespace
}  // namespace corvane
