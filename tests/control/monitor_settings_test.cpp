// Reading, setting and putting back, against a simulated monitor and against blocks made up here.
#include "control/monitor_settings.h"

#include "control/control_fixture.h"
#include "control/device_binding.h"
#include "control/guarded_commands.h"
#include "measure/measurement.h"
#include "store/rows.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class MonitorSettingsTest : public ControlTest {
protected:
    /// A read-out to which the line answers `reply` as soon as it is asked for.
    std::string ReadAnswered(const QByteArray& reply) {
        std::optional<std::string> ended;
        auto reading = monitorSettings_.ReadSettings(op_).then(
            [&](const Outcome& outcome) { ended = outcome.Error().toStdString(); });
        clock_.Advance(1600 + 840);
        const QByteArrayView rest(reply);
        tcpA_.Send(
            {reinterpret_cast<const std::uint8_t*>(rest.data()), static_cast<std::size_t>(rest.size())});
        for (int i = 0; i < 500 && !ended.has_value(); ++i)
            clock_.Advance(10);
        return ended.value_or("it did not end");
    }

    QCoro::Task<> AnswerSoon(QByteArray bytes) {
        const bool goesOn = co_await clock_.DLY(5);
        if (!goesOn) co_return;
        tcpA_.Send(
            {reinterpret_cast<const std::uint8_t*>(bytes.data()), static_cast<std::size_t>(bytes.size())});
    }

    /// Runs a setter, and gives the monitor a second to carry it out.
    std::string SetThere(const char* name, const QStringList& inputs) {
        std::string error = Run(monitorSettings_.Set(QString::fromLatin1(name), inputs, op_));
        clock_.AdvanceSeconds(1);
        return error;
    }
};

/// A block laid out by hand: nearly every byte is another one, so that mix-ups show.
QByteArray PaperBlock() {
    QByteArray block(34, '\0');
    for (qsizetype i = 0; i < block.size(); ++i)
        block[i] = static_cast<char>(i + 101);
    block[0] = '\xFC';
    block[9] = '\x03';
    block[10] = '\xFC';
    block[15] = 1;
    block[16] = '\x95';
    block[17] = '\xF7';
    block[18] = '\x81';
    block[24] = 5;
    return block;
}

TEST_F(MonitorSettingsTest, ShowsEveryByteUnderItsLabel) {
    EXPECT_EQ(ReadAnswered(PaperBlock()), "");
    EXPECT_EQ(op_.Messages(),
              std::vector<std::string>{"Device A Settings.\nCT1 Type: 102\nCT1 Range: 103\nCT2 Type: 104\n"
                                       "CT2 Range: 105\nPT Type: 106\nPT Range: 107\n"
                                       "Packet Send Frequency: 108\nData Logger Storage Interval: 109\n"
                                       "Firmware version: 1.020\nUnit ID:  112\n"
                                       "Unit serial number:  29042\nAux Constant:  115\n"
                                       "Aux Options:    Pulse Counting\nAux Trim 1  5\nAux Trim 2  -1\n"
                                       "Aux Trim 3  7\nAux Trim 4  -7\nAux Trim 5  1\nAux Trim 6  0\n"
                                       "K1H Constant:  120\nK1L Constant:  121\nK2H Constant:  122\n"
                                       "K2L Constant:  123\nKV0 Constant:  124\nOption:  5\nAux Ver: 130\n"
                                       "Packet Trigger Threshold:   33668 Watts"});
}

TEST_F(MonitorSettingsTest, TakesWholeAndPlausibleAnswersOnly) {
    const auto with = [](int byte, int value) {
        QByteArray block = PaperBlock();
        block[byte - 1] = static_cast<char>(value);
        return block;
    };
    const QByteArray block = PaperBlock();
    const struct {
        QByteArray reply;
        const char* error;
    } cases[] = {
        {block.first(33), "timeout error"},
        {block.first(0), "timeout error"},
        {block, ""},
        {block + QByteArray(29, 'x'), ""},  // 63 characters
        {block + QByteArray(30, 'x'), "Turn off realtime data first and try again."},
        {PacketBytes(1), "Turn off realtime data first and try again."},
        {with(1, 0xFB), "What the monitor answered is no settings block. Try again."},
        {with(15, 180), ""},
        {with(15, 181), "Data Read Error. Try again."},
        {with(25, 5), ""},
        {with(25, 6), "Data Read Error. Try again."},
    };
    for (const auto& c : cases) {
        const auto before = op_.Messages().size();
        clock_.AdvanceSeconds(1);
        EXPECT_EQ(ReadAnswered(c.reply), c.error) << c.reply.toHex(' ').toStdString();
        EXPECT_EQ(op_.Messages().size() > before, std::string_view(c.error).empty());
        EXPECT_TRUE(IsFree(kStreamTcpA));
    }
    clock_.AdvanceSeconds(1);
    // A packet that came while the question was being put is heard, too, however good the answer.
    auto reading = monitorSettings_.Read(op_).then([](const Outcome& outcome) {
        EXPECT_EQ(outcome.Error(), u"Turn off realtime data first and try again."_s);
    });
    clock_.Advance(500);
    tcpA_.Send(PacketOf({}));
    clock_.Advance(1940);
    tcpA_.Send({reinterpret_cast<const std::uint8_t*>(block.data()), 34});
    clock_.Advance(20);
    EXPECT_TRUE(reading.isReady());
}

TEST_F(MonitorSettingsTest, RefusesInputsBeforeAnythingIsSent) {
    const char* const trimText = "The value for AUX 3 is not a numerical value. Correct and try again.";
    const char* const trimMost =
        "More than seven CTs on one AUX channel is not allowed. Correct and try again";
    const char* const noByte = "Value is greater than one byte or not numeric";
    const struct {
        const char* words;
        const char* refusal;
    } cases[] = {
        {"ct1 x 4", "Invalid CT type value."},
        {"ct1 256 4", "Invalid CT type value."},
        {"ct1 17 1", "Invalid CT Range value."},
        {"ct2 17 8", "Invalid CT Range value."},
        {"pt x 1", "Invalid PT type value."},
        {"pt 1 x", "Invalid PT Range value."},
        {"iv2 256", noByte},
        {"iv2 x", noByte},
        {"iv3 x", "Value is not numeric"},
        {"aux 0", "Improper constant value must be 1 - 255"},
        {"aux 256", "Improper constant value must be 1 - 255"},
        {"trim3 x", trimText},
        {"trim3 1.5", trimText},
        {"trim3 8", trimMost},
        {"trim3 -8", trimMost},
        {"trim3 0", "Zero value is not allowed. If no Nanocoils are connected, use the value of 1."},
        {"interval 0", "Must be a numeric value between 1 and 255 (minutes)"},
        {"interval 256", "Must be a numeric value between 1 and 255 (minutes)"},
        {"ct1 17", "Usage: ct1 TYPE RANGE"},
    };
    for (const auto& c : cases) {
        const QStringList words = QString::fromLatin1(c.words).split(u' ');
        EXPECT_EQ(Run(monitorSettings_.Set(words.first(), words.sliced(1), op_)), c.refusal) << c.words;
    }
    EXPECT_TRUE(tcpA_.sent.empty());
}

TEST_F(MonitorSettingsTest, EverySetterReachesItsFieldOfTheMonitor) {
    const struct {
        const char* name;
        QStringList inputs;
        MonitorSetting setting;
        int raw;
    } cases[] = {
        {"ct1", {u"17"_s, u"2"_s}, MonitorSetting::Ct1Range, 2},
        {"ct2", {u"255"_s, u"7"_s}, MonitorSetting::Ct2Type, 255},
        {"pt", {u"5"_s, u"6"_s}, MonitorSetting::PtRange, 6},
        {"iv2", {u"255"_s}, MonitorSetting::SendFrequency, 255},
        {"iv3", {u"300"_s}, MonitorSetting::TriggerThreshold, 300},
        {"aux", {u"180"_s}, MonitorSetting::AuxConstant, 180},
        {"trim1", {u"7"_s}, MonitorSetting::AuxTrim1, 7},
        {"trim2", {u"-1"_s}, MonitorSetting::AuxTrim2, 9},
        {"trim3", {u"3"_s}, MonitorSetting::AuxTrim3, 3},
        {"trim4", {u"-7"_s}, MonitorSetting::AuxTrim4, 15},
        {"trim5", {u"2"_s}, MonitorSetting::AuxTrim5, 2},
        {"options", {u"4"_s}, MonitorSetting::Option, 4},
        {"interval", {u"30"_s}, MonitorSetting::StorageInterval, 30},
        {"ng1", {}, MonitorSetting::AuxTrim1, 7},
    };
    const CommandListener& monitor = Join(tcpA_);
    for (const auto& c : cases) {
        EXPECT_EQ(SetThere(c.name, c.inputs), "") << c.name;
        EXPECT_EQ(monitor.Settings().Raw(c.setting), c.raw) << c.name;
    }
    EXPECT_EQ(monitor.Settings().Raw(MonitorSetting::Ct1Type), 17);
    EXPECT_EQ(monitor.Settings().Raw(MonitorSetting::PtType), 5);
    EXPECT_EQ(monitor.LostBytes(), 0);
    EXPECT_TRUE(IsFree(kStreamTcpA));
}

TEST_F(MonitorSettingsTest, CtTypeAndRangeThatReadBackOtherwiseMayHaveFailed) {
    for (const MonitorFaults& faults : {MonitorFaults{.shortBlock = true}, MonitorFaults{.late = true}}) {
        Join(tcpA_, faults);
        EXPECT_EQ(SetThere("ct1", {u"17"_s, u"5"_s}),
                  "An error may have occured. Click Read Settings to verify the changes.");
        EXPECT_EQ(op_.Messages().back(), "timeout error");
        clock_.AdvanceSeconds(6);
    }
    // One that acknowledges everything, and then tells other settings.
    listener_.reset();
    tcpA_.SetReceiver([this](std::span<const std::uint8_t> bytes) {
        const bool asked = bytes.size() == 3 && bytes.front() == 'R' && bytes.back() == 'V';
        AnswerSoon(asked ? PaperBlock() : QByteArray(1, '\xFC'));
    });
    EXPECT_EQ(SetThere("ct2", {u"17"_s, u"5"_s}),
              "An error may have occured. Click Read Settings to verify the changes.");
    EXPECT_EQ(SetThere("ct2", {u"104"_s, u"5"_s}),
              "An error may have occured. Click Read Settings to verify the changes.");
}

TEST_F(MonitorSettingsTest, OffersASlowerPaceWhereSeveralDevicesAreInUse) {
    const CommandListener& monitor = Join(tcpA_);
    const std::string question =
        "Warning!\r\nThe packet send frequency value for this VRQ monitor is too low for multi-device "
        "operation.\r\nA send frequency of 15 seconds is suggested along with a trigger power value of "
        "approximately 60W.\r\nWould you like to set these values?";
    Set("DeviceQTY", "1");
    ASSERT_EQ(SetThere("iv2", {u"3"_s}), "");
    ASSERT_EQ(SetThere("iv3", {u"999"_s}), "");
    EXPECT_EQ(Run(monitorSettings_.ReadSettings(op_)), "");
    Set("DeviceQTY", "2");
    op_.WillAnswer(question, Answer::No);
    EXPECT_EQ(Run(monitorSettings_.ReadSettings(op_)), "");
    EXPECT_EQ(monitor.Settings().Raw(MonitorSetting::SendFrequency), 3);
    op_.WillAnswer(question, Answer::Yes);
    EXPECT_EQ(Run(monitorSettings_.ReadSettings(op_)), "");
    EXPECT_EQ(monitor.Settings().Raw(MonitorSetting::SendFrequency), 15);
    EXPECT_EQ(monitor.Settings().Raw(MonitorSetting::TriggerThreshold), 60);
    ASSERT_EQ(SetThere("iv2", {u"4"_s}), "");
    EXPECT_EQ(Run(monitorSettings_.ReadSettings(op_)), "");
}

TEST_F(MonitorSettingsTest, TheIdentityIsSetOnlyAfterTheInvertedQuestion) {
    const CommandListener& monitor = Join(tcpA_);
    const std::string question =
        "This function is only for use with the VRQ-5806 two channel monitor only.\r\nDo not use this to "
        "program a VRQ-5810 serial number.\r\nWould you like abort this operation?";
    op_.WillAnswer(question, Answer::Yes);
    EXPECT_EQ(SetThere("identity", {u"300"_s, u"7"_s}), "Aborting Operation");
    EXPECT_TRUE(tcpA_.sent.empty());
    EXPECT_EQ(op_.Questions().back().safe, Answer::Yes);
    op_.WillAnswer(question, Answer::No);
    EXPECT_EQ(SetThere("identity", {u"300"_s, u"7"_s}), "");
    EXPECT_EQ(op_.Messages(), std::vector<std::string>{"Done"});
    EXPECT_EQ(monitor.Settings().SerialText(), "700300");
    EXPECT_EQ(monitor_.Serial().number, 300);
}

TEST_F(MonitorSettingsTest, KeepsWhatIsNewAndPutsItBack) {
    const CommandListener& monitor = Join(tcpA_);
    const SettingsBlock first = monitor.Settings();
    const auto read = [this] { return Run(monitorSettings_.Read(op_)); };
    ASSERT_EQ(read(), "");
    ASSERT_EQ(read(), "");  // nothing new
    ASSERT_EQ(SetThere("pt", {u"9"_s, u"8"_s}), "");
    ASSERT_EQ(SetThere("iv3", {u"300"_s}), "");
    ASSERT_EQ(SetThere("trim2", {u"-2"_s}), "");
    ASSERT_EQ(read(), "");
    const auto kept = history_.Of(u"301234"_s);
    ASSERT_EQ(kept.size(), 2U);
    EXPECT_EQ(kept.front().when, u"2026-03-02_10-20-32"_s);
    EXPECT_EQ(kept.front().block.bytes, first.bytes);
    EXPECT_EQ(kept.back().block.bytes, monitor.Settings().bytes);
    EXPECT_TRUE(history_.Of(u"301235"_s).empty());
    // A damaged file costs itself alone.
    folder_.Write(u"monitors/301234/2026-03-02_10-20-33.txt"_s, "Bytes: FC 01");
    EXPECT_EQ(history_.Find(u"301234"_s, u"2026-03-02_10-20-3"_s)->when, kept.front().when);
    EXPECT_FALSE(history_.Find(u"301234"_s, u"2026-03-03"_s).has_value());

    EXPECT_NE(Run(monitorSettings_.Restore(u"2026-03-03"_s, op_)), "");
    const auto before = tcpA_.sent.size();
    const std::string question =
        "PT Type: 9 -> 184\r\nPT Range: 8 -> 3\r\nAux Trim 2  -2 -> 1\r\nPacket Trigger Threshold:   300 "
        "Watts "
        "-> 60 Watts\r\nThis sends: pt 184 3, iv3 60, trim2 1\r\nDo you want to continue?";
    op_.WillAnswer(question, Answer::No);
    EXPECT_NE(Run(monitorSettings_.Restore(kept.front().when, op_)), "");
    EXPECT_EQ(tcpA_.sent.size(), before + 3) << "more than the read-out was sent";
    op_.WillAnswer(question, Answer::Yes);
    EXPECT_EQ(Run(monitorSettings_.Restore(kept.front().when, op_)), "");
    EXPECT_EQ(monitor.Settings().bytes, first.bytes);
    EXPECT_EQ(monitor.LostBytes(), 0);
}

TEST_F(MonitorSettingsTest, APuttingBackThatIsCutOffSaysWhatIsDoneAndWhatIsNot) {
    Join(tcpA_);
    ASSERT_EQ(Run(monitorSettings_.Read(op_)), "");
    const QString when = history_.Of(u"301234"_s).front().when;
    ASSERT_EQ(SetThere("pt", {u"9"_s, u"8"_s}), "");
    ASSERT_EQ(SetThere("iv2", {u"30"_s}), "");
    ASSERT_EQ(SetThere("aux", {u"90"_s}), "");
    op_.WillAnswer("This sends: pt 184 3, iv2 8, aux 100", Answer::Yes);
    std::string error;
    auto restoring = monitorSettings_.Restore(when, op_).then(
        [&](const Outcome& outcome) { error = outcome.Error().toStdString(); });
    for (int i = 0; i < 20'000 && tcpA_.sent.back().second != "IV2"; ++i)
        clock_.Advance(1);
    tcpA_.open = false;
    clock_.AdvanceSeconds(2);
    EXPECT_EQ(error,
              "Packet send frequency: Link 0 was lost after 3 of 4 pieces. Read the settings to see what the "
              "monitor "
              "took. Put back: pt 184 3. Not put back: iv2 8, aux 100.");
}

TEST_F(MonitorSettingsTest, APuttingBackThatTheMonitorDidNotTakeSaysWhatDiffers) {
    Join(tcpA_);
    ASSERT_EQ(SetThere("pt", {u"9"_s, u"8"_s}), "");
    ASSERT_EQ(Run(monitorSettings_.Read(op_)), "");
    const QString when = history_.Of(u"301234"_s).front().when;
    Join(tcpA_);
    op_.WillAnswer("This sends: pt 9 8", Answer::Yes);
    std::string error = "it did not end";
    auto restoring = monitorSettings_.Restore(when, op_).then(
        [&](const Outcome& outcome) { error = outcome.Error().toStdString(); });
    for (int i = 0; i < 20'000 && listener_->Settings().Raw(MonitorSetting::PtRange) != 8; ++i)
        clock_.Advance(1);
    clock_.Advance(500);
    Join(tcpA_);  // it has forgotten them again
    clock_.AdvanceSeconds(10);
    EXPECT_EQ(error, "An error may have occured. Click Read Settings to verify the changes.");
    EXPECT_EQ(op_.Messages(),
              (std::vector<std::string>{"Not taken: PT Type: 184 -> 9", "Not taken: PT Range: 3 -> 8"}));
}

TEST_F(MonitorSettingsTest, ADeviceIsBoundToTheMonitorThatAnswers) {
    const auto bind = [this](int slot) { return Run(BindDevice(slot, monitorSettings_, slots_, op_)); };
    const auto find = [this](int slot) { return Run(FindDevice(slot, monitorSettings_, slots_, op_)); };
    EXPECT_EQ(find(2), "Device \"B\" not found.");
    EXPECT_EQ(op_.Messages().back(), "timeout error");
    Join(tcpA_);
    op_.WillAnswer("Device \"B\" Serial Number: 301234 Would you like to Save it?", Answer::No);
    EXPECT_EQ(find(2), "");
    EXPECT_EQ(slots_.Bound(2), u""_s);
    op_.WillAnswer("Device \"E\" Serial Number: 301234 Would you like to Save it?", Answer::Yes);
    EXPECT_EQ(find(5), "");
    // Only A, B and C give way.
    op_.WillAnswer("Would you like to \"Bind\" serial number 301234 to \"Device A\"", Answer::Yes);
    EXPECT_EQ(bind(1), "");
    const std::string transfer =
        "Device serial number 301234 has already been assigned to Device A. Do you want to transfer the "
        "serial "
        "number to Device C ?";
    op_.WillAnswer(transfer, Answer::No);
    EXPECT_NE(bind(3), "");
    op_.WillAnswer(transfer, Answer::Yes);
    EXPECT_EQ(bind(3), "");
    EXPECT_EQ(Rows(path_, "SELECT id, deviceaddress FROM applicationinfo ORDER BY id"),
              (std::vector<std::string>{"1|", "3|301234", "5|301234"}));
    EXPECT_EQ(slots_.Bound(1), u""_s);
    EXPECT_EQ(slots_.Bound(3), u"301234"_s);

    op_.WillAnswer("Would you like abort", Answer::No);
    ASSERT_EQ(SetThere("identity", {u"0"_s, u"3"_s}), "");
    EXPECT_EQ(find(6), "Device \"F\" has no Serial Number.");
    EXPECT_EQ(bind(6), "Device \"F\" has no Serial Number.");
}

TEST_F(MonitorSettingsTest, CarriesGoToZeroOnceTheMonitorWasToldOrNobodyAborted) {
    Measurement measurement(slots_, settings_, errorLog_, clock_);
    const char* const keys[] = {"Roll1A", "Roll1P", "Roll2A", "Roll2P", "Roll3",
                                "Roll4",  "Roll5",  "Roll6",  "Roll7"};
    const auto carries = [&] {
        std::string text;
        for (const char* section : {"1", "2", "3"}) {
            for (const char* key : keys)
                text += KeptByKey(settings_, QLatin1StringView(key), u"-"_s, QLatin1StringView(section))
                            .toStdString();
        }
        return text;
    };
    const auto count = [&] {
        for (const char* section : {"1", "2", "3"}) {
            for (const char* key : keys)
                Set(key, "4", QLatin1StringView(section));
        }
    };
    const std::string counted(27, '4');
    const std::string zeroed = std::string(18, '0') + std::string(9, '4');
    Set("DeviceQTY", "2");
    count();
    const auto reset = [&] { return Run(ResetAccumulatedValues(commands_, slots_, measurement, op_)); };
    const std::string warning =
        "WARNING! This action will reset all accumulated values of the selected devices. Do you wish to "
        "continue?";
    op_.WillAnswer(warning, Answer::No);
    EXPECT_EQ(reset(), "Reset aborted!");
    EXPECT_TRUE(tcpA_.sent.empty());
    tcpA_.open = false;
    op_.WillAnswer(warning, Answer::Yes);
    EXPECT_NE(reset(), "");
    EXPECT_EQ(carries(), counted) << "the monitor was not told";
    tcpA_.open = true;
    Join(tcpA_);
    op_.WillAnswer(warning, Answer::Yes);
    EXPECT_EQ(reset(), "");
    EXPECT_EQ(carries(), zeroed);
    EXPECT_EQ(measurement.Readings(2).channels[1].polarized.carry, 0);
    EXPECT_EQ(measurement.Readings(3).channels[6].absolute.carry, 4);
    EXPECT_EQ(monitor_.Raw(Field::Ch1Absolute), 0U);

    count();
    const auto zero = [&] { return Run(ZeroCarryCounters(slots_, measurement, op_)); };
    const std::string caution =
        "This will zero the Corvane software's \"carry\" counters and \r\nmay cause an erroneous record when "
        "viewed "
        "with the dashboard.\r\nPursuing this action is not recommended.\r\nWould you like to abort this "
        "function?";
    op_.WillAnswer(caution, Answer::Yes);
    EXPECT_EQ(zero(), "Aborted");
    EXPECT_EQ(carries(), counted);
    op_.WillAnswer(caution, Answer::No);
    EXPECT_EQ(zero(), "");
    EXPECT_EQ(carries(), zeroed);
    EXPECT_EQ(op_.Questions().back().title, u"CAUTION"_s);
    EXPECT_EQ(op_.Questions().back().safe, Answer::Yes);
}

TEST_F(MonitorSettingsTest, WhatCannotBeUndoneAsksFirst) {
    const CommandListener& monitor = Join(tcpA_);
    const std::string thru =
        "Once this command has been executed, the power to the VRQ-5810 will need to be manualy cycled to "
        "return to "
        "normal operation. Do you want to continue? ";
    for (const Answer answer : {Answer::No, Answer::Yes}) {
        const bool agreed = answer == Answer::Yes;
        op_.WillAnswer("data logger", answer);
        EXPECT_EQ(Run(EraseDataLogger(commands_, op_)).empty(), agreed);
        op_.WillAnswer("writes 200 into byte 24", answer);
        EXPECT_EQ(Run(WriteMonitorMemory(commands_, 24, 200, op_)).empty(), agreed);
        op_.WillAnswer(thru, answer);
        EXPECT_EQ(Run(EnterPassThroughMode(commands_, op_)).empty(), agreed);
        clock_.AdvanceSeconds(1);
        EXPECT_EQ(monitor.CarriedOut().size(), agreed ? 3U : 0U);
    }
}

}  // namespace
}  // namespace corvane
