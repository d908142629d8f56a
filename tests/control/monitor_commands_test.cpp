// What goes over the line, when, and what becomes of it where the line does not hold.
#include "control/monitor_commands.h"

#include <sstream>

#include "control/control_fixture.h"
#include "support/data_lines.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class MonitorCommandsTest : public ControlTest {
protected:
    /// What was sent on a link since this was last asked, each piece with the ms to the one after it; the
    /// last with those until now. Words as they are, bytes as numbers.
    std::string TakeSent(WiredLink& link) {
        std::ostringstream text;
        for (std::size_t i = 0; i < link.sent.size(); ++i) {
            const auto& [time, piece] = link.sent[i];
            const std::int64_t next = i + 1 < link.sent.size() ? link.sent[i + 1].first : clock_.Monotonic();
            text << (i > 0 ? " " : "");
            if (piece.size() == 1) {
                text << static_cast<int>(static_cast<std::uint8_t>(piece.front()));
            } else {
                text << piece.toStdString();
            }
            text << "(" << next - time << ")";
        }
        link.sent.clear();
        return text.str();
    }

    [[nodiscard]] std::string Log() const {
        return QFile::exists(folder_.Path(u"ErrorsTest.log"_s)) ? folder_.Read(u"ErrorsTest.log"_s) : "";
    }
};

TEST_F(MonitorCommandsTest, SaysEveryCommandOfTheTableToTheMillisecond) {
    const std::vector<DataLine> cases = CasesOf("SaysEveryCommandOfTheTableToTheMillisecond");
    ASSERT_EQ(cases.size(), kSequences.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i]);
        EXPECT_EQ(cases[i].Word(0), kSequences[i].name);
        if (cases[i].Word(1).empty()) continue;
        clock_.AdvanceSeconds(1);
        EXPECT_EQ(Run(commands_.Send(static_cast<Operation>(i), "\1\2\3\4\5"_ba, op_)), "");
        EXPECT_EQ(TakeSent(tcpA_), cases[i].Word(1));
        EXPECT_TRUE(IsFree(kStreamTcpA));
    }
}

TEST_F(MonitorCommandsTest, TheAcknowledgedCommandStopsAtThePieceThatGetsNoAnswer) {
    Set("DevSerial", "301234", u"0"_s);
    const char* const pieces[] = {"252", "SET", "CT2", "TYP", "17", "RNG", "5"};
    for (int lost = 1; lost <= 8; ++lost) {
        SCOPED_TRACE(lost);
        clock_.AdvanceSeconds(6);
        const CommandListener& monitor = Join(tcpA_, {.loseAcknowledgement = lost});
        const std::string number = std::to_string(lost);
        const std::string error =
            lost <= 7
                ? "No response " + number + "\nPiece " + number +
                      " of \"CT2 type and range\" was sent to Device A (301234) on TCP Server A, command "
                      "byte 252, and not answered in full within 3 seconds (bytes that came: 0)."
                : "";
        const std::int64_t start = clock_.Monotonic();
        EXPECT_EQ(Run(commands_.Send(Operation::Ct2, "\x11\5"_ba, op_)).substr(0, error.size()), error);
        if (lost <= 7) {
            EXPECT_EQ(tcpA_.sent.size(), static_cast<std::size_t>(lost));
            EXPECT_GT(clock_.Monotonic() - start, 2000);
            EXPECT_LT(clock_.Monotonic() - start, 4000);
        }
        const std::string sent = TakeSent(tcpA_);
        for (int i = 0; i < std::min(lost, 7); ++i)
            EXPECT_NE(sent.find(pieces[i]), std::string::npos) << sent;
        EXPECT_EQ(monitor.Settings().Raw(MonitorSetting::Ct2Type), lost < 7 ? 163 : 17);
        EXPECT_EQ(monitor.LostBytes(), 0);
        EXPECT_TRUE(IsFree(kStreamTcpA));
    }
    EXPECT_NE(Log().find("CT2 type and range: No response 3 after 2 of 7 pieces."), std::string::npos);
    EXPECT_EQ(Log().find("No response 1 "), std::string::npos) << "the monitor took nothing of it";
}

TEST_F(MonitorCommandsTest, TheWaitForAnAcknowledgementEndsWithASecondOfTheClock) {
    clock_.AdvanceSeconds(28);  // 10:20:58, so that it ends at second 1 of the next minute
    clock_.Advance(400);
    std::optional<bool> acknowledged;
    auto waiting = commands_.GetAck().then([&](bool value) { acknowledged = value; });
    clock_.Advance(2590);
    EXPECT_FALSE(acknowledged.has_value());
    clock_.Advance(10);
    EXPECT_EQ(acknowledged, false);
}

TEST_F(MonitorCommandsTest, AClosedSerialPortIsToldOnceUntilASendSucceedsAndATcpLinkNever) {
    Set("CmdDevice", "1");
    serialA_.open = false;
    tcpB_.open = false;
    const std::string notOpen = "This port is not Open or Connected";
    EXPECT_EQ(Run(commands_.SendOnePacket(op_)), notOpen);
    EXPECT_EQ(Run(commands_.SendOnePacket(op_)), notOpen);
    Set("CmdDevice", "2");
    EXPECT_EQ(Run(commands_.StartRealtime(op_)), notOpen);
    EXPECT_EQ(op_.Messages(), std::vector<std::string>{" The COM port is not opened."});
    for (const bool open : {true, false}) {
        Set("CmdDevice", "1");
        serialA_.open = open;
        EXPECT_EQ(Run(commands_.SendOnePacket(op_)), open ? "" : notOpen);
    }
    EXPECT_EQ(op_.Messages().size(), 2U);
    // What cannot be read names no monitor, rather than the first.
    serialA_.open = true;
    for (const auto& [key, value] : {std::pair{"CmdDevice", "-1"},
                                     {"CmdDevice", "5"},
                                     {"CmdDevice", "32767"},
                                     {"CmdDevice", "x"},
                                     {"CmdIndex", "6"},
                                     {"CmdA", "x"}}) {
        Set("CmdDevice", "1");
        Set("CmdIndex", "0");
        Set(key, value);
        EXPECT_NE(Run(commands_.StartRealtime(op_)), "");
        EXPECT_NE(Run(commands_.StopRealtime(op_)), "");
    }
    EXPECT_EQ(serialA_.sent.size(), 2U);
    EXPECT_TRUE(tcpA_.sent.empty());
    EXPECT_EQ(op_.Messages().size(), 2U);
    EXPECT_EQ(Log(), "") << "no monitor got a part of anything";
}

TEST_F(MonitorCommandsTest, ALinkThatDropsOrIsAnotherOneAndAProgramThatClosesEndTheCommandAndAreLogged) {
    const struct {
        const char* what;
        std::function<void()> happens;
    } cases[] = {
        {"Serial Connection C was lost after 2 of 4 pieces", [this] { serialC_.open = false; }},
        {"Serial Connection C was lost after 2 of 4 pieces", [this] { serialC_.ConnectAnew(); }},
        {"the program closes after 2 of 4 pieces", [this] { clock_.EndWaits(); }},
    };
    Set("CmdDevice", "4");
    for (const auto& c : cases) {
        serialC_.open = true;
        serialC_.sent.clear();
        std::string error;
        auto running =
            commands_.Send(Operation::AuxConstant, "\x64"_ba, op_).then([&](const Outcome& outcome) {
                error = outcome.Error().toStdString();
            });
        clock_.Advance(2000);
        EXPECT_TRUE(IsHeld(kStreamSerialC));
        c.happens();
        if (error.empty()) clock_.Advance(1000);
        EXPECT_NE(error.find(c.what), std::string::npos) << error;
        EXPECT_NE(Log().find(error), std::string::npos) << Log();
        EXPECT_TRUE(IsFree(kStreamSerialC));
        EXPECT_EQ(serialC_.sent.size(), 2U);
    }
}

TEST_F(MonitorCommandsTest, OtherLinksGoOnWhileACommandRunsAndItsOwnStartsAfresh) {
    const QByteArray packet = PacketBytes(7);
    Arrive(tcpA_, packet.first(30));
    auto running = commands_.StopRealtime(op_);
    clock_.Advance(1700);
    Arrive(serialB_, packet.first(20));
    Arrive(tcpA_, packet.sliced(30) + packet);
    Arrive(serialB_, packet.sliced(20));
    clock_.AdvanceSeconds(2);
    EXPECT_EQ(packets_.packets, (Packets{{kStreamSerialB, 7}}));
    // What was cut off by the command is not glued to what comes after it.
    Arrive(tcpA_, PacketBytes(9));
    EXPECT_EQ(packets_.packets, (Packets{{kStreamSerialB, 7}, {kStreamTcpA, 9}}));
    EXPECT_EQ(framer_.BadPackets(), 0U);
    EXPECT_EQ(board_.Lines().front(), u"     Command byte 252"_s);
    ASSERT_EQ(op_.progress.size(), 3U);
    EXPECT_EQ(op_.progress[1].operation, u"Stop realtime: piece 2 of 3, TOG"_s);
    EXPECT_EQ(op_.progress[1].seconds, 1);
    EXPECT_EQ(op_.progress[1].percent, 66);
}

TEST_F(MonitorCommandsTest, StartsRealtimeWithTheWordOfTheModel) {
    const Bytes twoChannel = PacketOf({.model = Model::TwoChannel});
    const std::string start = "252(1600) TOG(840) ";
    Set("VRQ5806", "1");
    EXPECT_EQ(Run(commands_.StartRealtime(op_)), "");
    EXPECT_EQ(TakeSent(tcpA_), "252(1600) SPK(1000) " + start + "PLR(840)");
    Set("VRQ5806", "0");
    EXPECT_EQ(Run(commands_.StartRealtime(op_)), "");
    EXPECT_EQ(TakeSent(tcpA_), "252(1600) SPK(1000) " + start + "XTD(840)");

    tcpA_.Send(twoChannel);
    for (const bool sure : {true, false}) {
        op_.WillAnswer("Are you sure your monitor is model VRQ-5806 two channel device?",
                       sure ? Answer::Yes : Answer::No);
        EXPECT_EQ(Run(commands_.StartRealtime(op_)), "");
        EXPECT_EQ(TakeSent(tcpA_), start + (sure ? "PLR(840)" : "XTD(840)"));
    }
    op_.WillAnswer("two channel device?", op_.Questions().back().safe);
    EXPECT_NE(Run(commands_.StartRealtime(op_)), "");
    EXPECT_EQ(TakeSent(tcpA_), "") << "nobody said what it is";
    // The packet that it asks for tells the model, in time.
    Set("CmdDevice", "2");
    Set("VRQ5806", "1");
    Join(tcpB_);
    EXPECT_EQ(Run(commands_.StartRealtime(op_)), "");
    EXPECT_EQ(packets_.packets.back(), (std::pair{kStreamTcpB, 1234}));
    EXPECT_EQ(listener_->CarriedOut(), (std::vector{Operation::OnePacket, Operation::StartRealtime}));
}

TEST_F(MonitorCommandsTest, ChoosesTheCommandByteAndAsksOnce) {
    const auto choose = [this](int slot, int position) {
        return Run(commands_.ChooseCommandByte(slot, position, op_));
    };
    EXPECT_EQ(choose(2, 0), "");
    EXPECT_EQ(KeptByKey(settings_, u"CmdB"_s), u"252"_s);
    op_.WillAnswer(
        "This option is only available with VRQ-5810 energy monitors having firmware ver 1.020 or higher.\r\n"
        "Also make sure that the device has already been set to work with the selected command byte. \r\n"
        "Do you want to continue?",
        Answer::No);
    EXPECT_NE(choose(2, 3), "");
    EXPECT_EQ(KeptByKey(settings_, u"CmdA"_s), u"0"_s) << "of Device A, though B was meant";
    EXPECT_EQ(KeptByKey(settings_, u"CmdB"_s), u"252"_s);
    op_.WillAnswer("firmware ver 1.020", Answer::Yes);
    EXPECT_EQ(choose(4, 1), "");
    EXPECT_EQ(choose(3, 2), "");
    EXPECT_EQ(KeptByKey(settings_, u"ShowOnceA"_s), u"False"_s);
    EXPECT_NE(choose(1, 4), "");
    EXPECT_EQ(op_.Questions().back().safe, Answer::Cancel) << "nothing changes unanswered";

    for (const auto& [slot, byte] : {std::pair(1, 0), {2, 252}, {3, 254}, {4, 253}, {5, 252}, {6, 252}}) {
        Set("DeviceQTY", "6");
        EXPECT_TRUE(commands_.BindTarget(slot - 1));
        EXPECT_EQ(Run(commands_.SendOnePacket(op_)), "");
        EXPECT_EQ(TakeSent(tcpA_), std::to_string(byte) + "(1600) SPK(0)");
    }
}

TEST_F(MonitorCommandsTest, BindsTheTargetToADeviceAndItsLink) {
    Set("BindDeviceB", "3");
    Set("BindDeviceD", "2");
    Set("DevSerial", "100004", u"3"_s);  // Device D is in use, being bound, and so are those before it
    serialB_.SetReplyCapture(true);
    const struct {
        int position;
        int slot;
        const char* link;
    } cases[] = {{0, 1, "0"}, {1, 2, "3"}, {3, 4, "2"}, {4, 4, "2"}, {5, 4, "2"}};
    for (const auto& c : cases) {
        EXPECT_TRUE(commands_.BindTarget(c.position));
        EXPECT_EQ(commands_.Target().slot, c.slot);
        EXPECT_EQ(KeptByKey(settings_, u"CmdIndex"_s), QString::number(c.slot - 1));
        EXPECT_EQ(KeptByKey(settings_, u"CmdDevice"_s), QLatin1StringView(c.link));
    }
    EXPECT_FALSE(serialB_.ReplyCapture());
    Set("BindDeviceA", "TCP");
    EXPECT_TRUE(commands_.BindTarget(0));
    EXPECT_EQ(commands_.TargetLinkName(), QString());
}

TEST_F(MonitorCommandsTest, ACommandGoesToTheMonitorThatIsHeardOrNowhere) {
    measurement_.AddSink(heard_);
    const auto packet = [this](int stream) { measurement_.DisplayData(stream, PacketOf({})); };
    Set("DevSerial", "301234", u"0"_s);
    packet(kStreamSerialA);
    EXPECT_EQ(KeptByKey(settings_, u"CmdDevice"_s), u"1"_s) << "the target follows its monitor";
    Set("CmdDevice", "0");
    Arrive(tcpA_, PacketBytes(7).first(30));
    EXPECT_EQ(
        Run(commands_.SendOnePacket(op_)),
        "Device A is heard over Serial Connection A, but the command target is TCP Server A: nothing was "
        "sent. Choose Device A as the target again.");
    EXPECT_TRUE(tcpA_.sent.empty());
    Arrive(tcpA_, PacketBytes(7).sliced(30));
    EXPECT_EQ(packets_.packets, (Packets{{kStreamTcpA, 7}})) << "a refused command holds nothing";
    EXPECT_TRUE(commands_.BindTarget(0));
    EXPECT_EQ(Run(commands_.SendOnePacket(op_)), "");
    EXPECT_EQ(serialA_.sent.size(), 2U);
    Set("BindDeviceA", "0");
    EXPECT_TRUE(commands_.BindTarget(0));
    EXPECT_EQ(Run(commands_.SendOnePacket(op_)), "") << "chosen by hand, and not heard since";
}

TEST_F(MonitorCommandsTest, ItIsToldWhenAMonitorsCountersBeginAtZero) {
    std::vector<int> zeroed;
    QObject::connect(&commands_, &MonitorCommands::CountersZeroed, [&](int link) { zeroed.push_back(link); });
    Set("CmdDevice", "2");
    for (const Operation operation :
         {Operation::StopRealtime, Operation::ResetKwh, Operation::ResetKwhOfEach, Operation::Restart})
        EXPECT_EQ(Run(commands_.Send(operation, {}, op_)), "");
    EXPECT_EQ(zeroed, (std::vector{2, 2, 2}));
    auto lost = commands_.Send(Operation::ResetKwh, {}, op_);
    clock_.Advance(2000);
    tcpB_.open = false;
    clock_.Advance(5000);
    EXPECT_EQ(zeroed.size(), 3U) << "the last word did not get there";
}

TEST_F(MonitorCommandsTest, AMessageGoesOutOnTheLinkThatConnectsOutOnly) {
    commands_.XmitMessage("lost");
    tcpB_.connectsOut = true;
    commands_.XmitMessage("TOG");
    commands_.BootLoadCmd();
    EXPECT_EQ(TakeSent(tcpB_), "TOG(0)");
    EXPECT_TRUE(tcpA_.sent.empty());
}

}  // namespace
}  // namespace corvane
