// Reading, setting and putting back, against a simulated monitor and against blocks made up here.
#include "control/monitor_settings.h"

#include <gmock/gmock.h>

#include "control/control_fixture.h"
#include "control/device_binding.h"
#include "control/guarded_commands.h"
#include "measure/measurement.h"
#include "store/rows.h"
#include "support/data_lines.h"
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
        Arrive(tcpA_, reply);
        for (int i = 0; i < 500 && !ended.has_value(); ++i)
            clock_.Advance(10);
        return ended.value_or("it did not end");
    }

    static std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

    QCoro::Task<> AnswerSoon(QByteArray bytes) {
        const bool goesOn = co_await clock_.DLY(5);
        if (!goesOn) co_return;
        Arrive(tcpA_, bytes);
    }

    /// Runs a setter, and gives the monitor a second to carry it out.
    std::string SetThere(const char* name, const QStringList& inputs) {
        std::string error = Run(monitorSettings_.Set(QString::fromLatin1(name), inputs, op_));
        clock_.AdvanceSeconds(1);
        return error;
    }

    /// Does what the lines of `cases.txt` say.
    void Play(const char* name) {
        for (const DataLine& line : CasesOf(name)) {
            SCOPED_TRACE(line);
            const QStringList words = line.Column(0).split(u' ');
            const std::string text =
                line.Columns().value(1).trimmed().replace(u" / "_s, u"\r\n"_s).toStdString();
            if (words[0] == u"?") {
                op_.WillAnswer(text, words[1] == u"Yes" ? Answer::Yes : Answer::No);
            } else if (words[0] == u"!") {
                EXPECT_EQ(FirstLine(op_.Messages().back()), text);
            } else if (words[0] == u"keep") {
                KeepByKey(settings_, words[1], words[2]);
            } else if (words[0] == u"join") {
                Join(tcpA_);
            } else if (words[0] == u"count") {
                Carries(u"4"_s);
            } else {
                const std::size_t sentBefore = tcpA_.sent.size();
                EXPECT_EQ(Run(Start(words)), text);
                clock_.AdvanceSeconds(1);
                for (qsizetype i = 2; i < line.Columns().size(); ++i)
                    EXPECT_THAT(Facts(sentBefore), testing::Contains(line.Word(i)));
            }
        }
    }

    /// The operation of a line: a command, or a setter with its inputs.
    QCoro::Task<Outcome> Start(const QStringList& words) {
        const int number = words.value(1).toInt();
        if (words[0] == u"read") return monitorSettings_.ReadSettings(op_);
        if (words[0] == u"bind") return BindDevice(number, monitorSettings_, slots_, op_);
        if (words[0] == u"find") return FindDevice(number, monitorSettings_, slots_, op_);
        if (words[0] == u"reset") return ResetAccumulatedValues(commands_, slots_, measurement_, op_);
        if (words[0] == u"each") return ResetEachMonitor(commands_, slots_, measurement_, op_);
        if (words[0] == u"restart") return RestartMonitor(commands_, op_);
        if (words[0] == u"quickly") return EnterPassThroughMode(commands_, PassThrough::Quick, op_);
        if (words[0] == u"zero") return ZeroCarryCounters(slots_, measurement_, op_);
        if (words[0] == u"erase") return EraseDataLogger(commands_, op_);
        if (words[0] == u"write") return WriteMonitorMemory(commands_, number, words[2].toInt(), op_);
        if (words[0] == u"through") return EnterPassThroughMode(commands_, PassThrough::Usual, op_);
        return monitorSettings_.Set(words[0], words.sliced(1), op_);
    }

    /// What is so: the monitor's settings, what it carried out last, whether anything was sent, the carries.
    std::vector<std::string> Facts(std::size_t sentBefore) {
        std::vector<std::string> facts{"carries " + Carries({})};
        if (tcpA_.sent.size() == sentBefore) facts.emplace_back("nothing sent");
        if (listener_ == nullptr) return facts;
        std::ranges::copy(MonitorSettingLines(listener_->Settings()), std::back_inserter(facts));
        if (!listener_->CarriedOut().empty())
            facts.emplace_back(SequenceOf(listener_->CarriedOut().back()).name);
        return facts;
    }

    /// The carries of Device A to C, each set to `value` first where there is one.
    std::string Carries(const QString& value) {
        std::string text;
        for (const QString& section : {u"1"_s, u"2"_s, u"3"_s}) {
            for (const char* key :
                 {"Roll1A", "Roll1P", "Roll2A", "Roll2P", "Roll3", "Roll4", "Roll5", "Roll6", "Roll7"}) {
                if (!value.isEmpty()) Set(key, value.toLatin1().constData(), section);
                text += KeptByKey(settings_, QLatin1StringView(key), u"-"_s, section).toStdString();
            }
        }
        return text;
    }

    Measurement measurement_{slots_, settings_, errorLog_, clock_};
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
    QStringList expected;
    for (const DataLine& line : CasesOf("ShowsEveryByteUnderItsLabel"))
        expected.append(line.text);
    EXPECT_EQ(monitorSettings_.LastLines(), expected);
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
        clock_.AdvanceSeconds(1);
        EXPECT_EQ(FirstLine(ReadAnswered(c.reply)), c.error) << c.reply.toHex(' ').toStdString();
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
    Arrive(tcpA_, block);
    clock_.Advance(20);
    EXPECT_TRUE(reading.isReady());
}

TEST_F(MonitorSettingsTest, SaysWhatWasSentToWhomWhereTheAnswerIsNotWholeOrNone) {
    const std::string unanswered =
        "timeout error\n\"Read settings\" was sent to Device A (not bound) on TCP Server A, command byte "
        "252, and "
        "not answered in full within 3 seconds (bytes that came: ";
    const struct {
        MonitorFaults faults;
        int listensTo;
        std::string error;
    } cases[] = {
        {{.mute = true}, 252, unanswered + "0)"},
        {{.shortBlock = true}, 252, unanswered + "33)"},
        {{}, 254, unanswered + "0)"},
        {{.garbled = true}, 252, "What the monitor answered is no settings block. Try again."},
        {{.halves = true}, 252, ""},
        {{}, 252, ""},
    };
    for (const auto& c : cases) {
        monitor_ = SimulatedMonitor({.commandByte = static_cast<std::uint8_t>(c.listensTo)});
        Join(tcpA_, c.faults);
        clock_.AdvanceSeconds(6);
        const std::string error = Run(monitorSettings_.ReadSettings(op_));
        EXPECT_EQ(error.substr(0, std::max<std::size_t>(c.error.size(), 1)), c.error);
        EXPECT_EQ(monitorSettings_.Last().has_value(), c.error.empty()) << c.error;
    }
}

TEST_F(MonitorSettingsTest, SettersRefuseWhatIsWrongAndReachTheirFields) {
    Play("SettersRefuseWhatIsWrongAndReachTheirFields");
    EXPECT_EQ(listener_->LostBytes(), 0);
    EXPECT_TRUE(IsFree(kStreamTcpA));
}

TEST_F(MonitorSettingsTest, CtTypeAndRangeThatReadBackOtherwiseMayHaveFailed) {
    const std::string mayHaveFailed = "An error may have occured. Click Read Settings to verify the changes.";
    for (const MonitorFaults& faults : {MonitorFaults{.shortBlock = true}, MonitorFaults{.late = true}}) {
        Join(tcpA_, faults);
        EXPECT_EQ(SetThere("ct1", {u"17"_s, u"5"_s}), mayHaveFailed);
        EXPECT_EQ(FirstLine(op_.Messages().back()), "timeout error");
        clock_.AdvanceSeconds(6);
    }
    // One that acknowledges everything, and then tells other settings.
    listener_.reset();
    tcpA_.SetReceiver([this](std::span<const std::uint8_t> bytes) {
        const bool asked = bytes.size() == 3 && bytes.front() == 'R' && bytes.back() == 'V';
        AnswerSoon(asked ? PaperBlock() : QByteArray(1, '\xFC'));
    });
    EXPECT_EQ(SetThere("ct2", {u"17"_s, u"5"_s}), mayHaveFailed);
    EXPECT_EQ(SetThere("ct2", {u"104"_s, u"5"_s}), mayHaveFailed);
}

TEST_F(MonitorSettingsTest, OffersASlowerPaceWhereSeveralDevicesAreInUse) {
    Play("OffersASlowerPaceWhereSeveralDevicesAreInUse");
}

TEST_F(MonitorSettingsTest, TheIdentityIsSetOnlyAfterTheInvertedQuestion) {
    Play("TheIdentityIsSetOnlyAfterTheInvertedQuestion");
    EXPECT_EQ(op_.Questions().back().safe, Answer::Yes);
    EXPECT_EQ(listener_->Settings().SerialText(), "700300");
    EXPECT_EQ(monitor_.Serial().number, 300);
}

TEST_F(MonitorSettingsTest, AnOperationOfManyCommandsStaysWithItsMonitor) {
    Set("DeviceQTY", "2");
    Set("BindDeviceB", "2");
    const CommandListener& monitor = Join(tcpA_);
    ASSERT_EQ(Run(monitorSettings_.Read(op_)), "");
    const QString first = history_.Of(u"301234"_s).front().when;
    ASSERT_EQ(SetThere("pt", {u"9"_s, u"8"_s}), "");
    ASSERT_EQ(SetThere("aux", {u"90"_s}), "");
    const std::pair<const char*, std::function<QCoro::Task<Outcome>()>> operations[] = {
        {"pt 184 3, aux 100", [&] { return monitorSettings_.Restore(first, op_); }},
        {"no answer",
         [&] {
             return monitorSettings_.Set(u"ct1"_s, {u"17"_s, u"5"_s}, op_);
         }},
        {"Would you like to Save it?", [&] { return FindDevice(1, monitorSettings_, slots_, op_); }},
        {"Do you want to continue?", [&] { return EraseDataLogger(commands_, op_); }},
    };
    for (const auto& [question, operation] : operations) {
        if (question != std::string_view("no answer")) op_.WillAnswer(question, Answer::Yes);
        EXPECT_TRUE(commands_.BindTarget(0));
        clock_.AdvanceSeconds(1);
        std::optional<std::string> error;
        auto running =
            operation().then([&](const Outcome& outcome) { error = outcome.Error().toStdString(); });
        clock_.Advance(50);
        EXPECT_EQ(commands_.BindTarget(1).Error(),
                  u"A command to Device A is running, to its end; choose a target after that."_s);
        Set("CmdIndex", "1");
        Set("CmdDevice", "2");
        Set("CmdB", "253");
        for (int i = 0; i < 60'000 && !error.has_value(); ++i)
            clock_.Advance(1);
        EXPECT_EQ(error, "") << question;
        EXPECT_TRUE(tcpB_.sent.empty()) << question;
    }
    EXPECT_EQ(monitor.Settings().Raw(MonitorSetting::Ct1Type), 17);
    EXPECT_EQ(monitor.Settings().Raw(MonitorSetting::AuxConstant), 100);
    EXPECT_EQ(commands_.Target().slot, 2) << "chosen for what comes next";
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
    op_.WillAnswer("Device A (not bound) on TCP Server A, command byte 252\r\n\r\nTo set the monitor to",
                   Answer::No);
    EXPECT_NE(Run(monitorSettings_.Restore(kept.front().when, op_)), "");
    EXPECT_EQ(tcpA_.sent.size(), before + 3) << "more than the read-out was sent";
    op_.WillAnswer(question, Answer::Yes);
    EXPECT_EQ(Run(monitorSettings_.Restore(kept.front().when, op_)), "");
    EXPECT_EQ(monitor.Settings().bytes, first.bytes);
    EXPECT_EQ(monitor.LostBytes(), 0);
}

TEST_F(MonitorSettingsTest, APuttingBackThatIsCutOffOrNotTakenSaysWhatIsDoneAndWhatIsNot) {
    Join(tcpA_);
    ASSERT_EQ(Run(monitorSettings_.Read(op_)), "");
    ASSERT_EQ(SetThere("pt", {u"9"_s, u"8"_s}), "");
    ASSERT_EQ(Run(monitorSettings_.Read(op_)), "");
    const auto kept = history_.Of(u"301234"_s);
    ASSERT_EQ(SetThere("iv2", {u"30"_s}), "");
    ASSERT_EQ(SetThere("aux", {u"90"_s}), "");
    op_.WillAnswer("This sends: pt 184 3, iv2 8, aux 100", Answer::Yes);
    std::string error;
    const auto note = [&](const Outcome& outcome) { error = outcome.Error().toStdString(); };
    auto restoring = monitorSettings_.Restore(kept.front().when, op_).then(note);
    for (int i = 0; i < 20'000 && tcpA_.sent.back().second != "IV2"; ++i)
        clock_.Advance(1);
    tcpA_.open = false;
    clock_.AdvanceSeconds(2);
    EXPECT_EQ(
        error,
        "Packet send frequency: TCP Server A was lost after 3 of 4 pieces. Read the settings to see what the "
        "monitor took. Put back: pt 184 3. Not put back: iv2 8, aux 100.");

    tcpA_.open = true;
    Join(tcpA_);
    op_.WillAnswer("This sends: pt 9 8", Answer::Yes);
    restoring = monitorSettings_.Restore(kept.back().when, op_).then(note);
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
    Play("ADeviceIsBoundToTheMonitorThatAnswers");
    EXPECT_EQ(Rows(path_, "SELECT id, deviceaddress FROM applicationinfo ORDER BY id"),
              (std::vector<std::string>{"1|", "3|301234", "5|301234"}));
    EXPECT_EQ(slots_.Bound(1), u""_s);
    EXPECT_EQ(slots_.Bound(2), u""_s);
    EXPECT_EQ(slots_.Bound(3), u"301234"_s);
}

TEST_F(MonitorSettingsTest, CarriesGoToZeroOnceTheMonitorWasToldOrNobodyAborted) {
    Play("CarriesGoToZeroOnceTheMonitorWasToldOrNobodyAborted");
    EXPECT_EQ(measurement_.Readings(2).channels[1].polarized.carry, 0);
    EXPECT_EQ(measurement_.Readings(3).channels[6].absolute.carry, 4);
    EXPECT_EQ(monitor_.Raw(Field::Ch1Absolute), 0U);
    EXPECT_EQ(op_.Questions().back().title, u"CAUTION"_s);
    EXPECT_EQ(op_.Questions().back().safe, Answer::Yes);
    EXPECT_EQ(tcpB_.sent.size(), 3U) << "each monitor on its own link";
}

TEST_F(MonitorSettingsTest, WhatCannotBeUndoneAsksFirst) {
    Play("WhatCannotBeUndoneAsksFirst");
}

}  // namespace
}  // namespace corvane
