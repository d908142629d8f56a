// The commands for the serial connections, over ports that are ptys.
#include <QJsonArray>

#include <sys/ioctl.h>

#include "remote/command_fixture.h"
#include "support/pty.h"
#include "support/received_packets.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class SerialCommands : public CommandTest {
protected:
    SerialCommands() {
        // The ports of the machine that runs the tests are none of ours.
        for (int number = 1; number <= kComPorts; ++number)
            Preset(u"ComDevice%1"_s.arg(number), folder.Path(u"none"_s));
        Preset(u"ComDevice5"_s, first_.Path());
        Preset(u"ComDevice6"_s, second_.Path());
        program_ = &Start();
    }

    Reply Run(const QString& line) { return CommandTest::Run(*program_, line); }
    [[nodiscard]] QJsonArray Links() { return Run(u"status"_s).data[u"links"_s].toArray(); }

    Pty first_;
    Pty second_;
    Program* program_;
};

TEST_F(SerialCommands, OpensAndClosesAndShowsIt) {
    EXPECT_EQ(Run(u"open b"_s).outcome.Error(), u"No COM port selected. Try \"Find COM Port\" utility"_s);
    EXPECT_EQ(Run(u"open D"_s).outcome.Error(), u"There are Serial Connection A, B and C."_s);
    EXPECT_EQ(Run(u"close 1"_s).outcome.Error(), u"There are Serial Connection A, B and C."_s);
    EXPECT_FALSE(Run(u"open B 65"_s).outcome);
    EXPECT_FALSE(Run(u"open B 5 300"_s).outcome);
    EXPECT_FALSE(Run(u"open B 7 9600"_s).outcome);
    EXPECT_FALSE(program_->serialB.IsOpen());
    EXPECT_EQ(KeptByKey(program_->settings, u"ComPortB"_s), u""_s) << "nothing is kept of what did not open";

    EXPECT_EQ(
        Run(u"open B 5 9600.0"_s).lines,
        (QStringList{
            u"Serial Connection B: Open, port 5"_s,
            u"While AutoOpen is False, serial connections stay closed at the next start: \"set AutoOpen True\"."_s}));
    EXPECT_EQ(KeptByKey(program_->settings, u"ComPortB"_s), u"5"_s);
    EXPECT_EQ(KeptByKey(program_->settings, u"BaudRateB"_s), u"9600"_s);
    const Reply status = Run(u"status"_s);
    EXPECT_TRUE(status.lines.contains(u"Serial Connection A: Closed"_s));
    EXPECT_TRUE(status.lines.contains(u"Serial Connection B: Open, port 5"_s));
    EXPECT_EQ(Links().size(), 5);
    EXPECT_EQ(Links()[3].toObject(), (QJsonObject{{u"name"_s, u"Serial Connection B"_s},
                                                  {u"state"_s, 1},
                                                  {u"stateText"_s, u"Open"_s},
                                                  {u"port"_s, 5},
                                                  {u"notice"_s, u""_s}}));
    EXPECT_EQ(Links()[3].toObject().keys(), Links()[0].toObject().keys());

    EXPECT_TRUE(Run(u"open B 6"_s).outcome);
    EXPECT_TRUE(program_->serialB.Uses(second_.Path()));
    EXPECT_TRUE(Run(u"open C 5"_s).outcome);
    EXPECT_EQ(Run(u"close b"_s).lines, QStringList{u"Serial Connection B: Closed"_s});
    EXPECT_FALSE(program_->serialB.IsOpen());
    EXPECT_TRUE(program_->serialC.IsOpen());
}

TEST_F(SerialCommands, FindsThePortsThatAreThere) {
    Reply reply = Run(u"find-ports"_s);
    EXPECT_EQ(reply.lines, (QStringList{u"COM 5: %1 is free"_s.arg(first_.Path()),
                                        u"COM 6: %1 is free"_s.arg(second_.Path())}));
    ASSERT_TRUE(Run(u"open A 6"_s).outcome);
    reply = Run(u"find-ports"_s);
    EXPECT_EQ(reply.lines, (QStringList{u"COM 5: %1 is free"_s.arg(first_.Path()),
                                        u"COM 6: %1 is in use by Corvane"_s.arg(second_.Path())}));
    EXPECT_EQ(reply.data[u"ports"_s].toArray(), (QJsonArray{QJsonObject{{u"port"_s, 5},
                                                                        {u"path"_s, first_.Path()},
                                                                        {u"state"_s, u"free"_s},
                                                                        {u"product"_s, u""_s}},
                                                            QJsonObject{{u"port"_s, 6},
                                                                        {u"path"_s, second_.Path()},
                                                                        {u"state"_s, u"own"_s},
                                                                        {u"product"_s, u""_s}}}));
    // What another program has is told, but it is none that could be opened.
    ASSERT_TRUE(Run(u"close A"_s).outcome);
    KeepByKey(program_->settings, u"ComDevice5"_s, folder.Path(u"unplugged"_s));
    const int other = open(second_.Path().toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_EQ(ioctl(other, TIOCEXCL), 0);
    reply = Run(u"find-ports"_s);
    EXPECT_EQ(reply.lines,
              (QStringList{u"COM 6: %1 is in use already"_s.arg(second_.Path()), u"No COM Port Found"_s}));
    close(other);
}

TEST_F(SerialCommands, ShowsTheBytesOfASerialStream) {
    ASSERT_TRUE(Run(u"open C 5"_s).outcome);
    ASSERT_TRUE(Run(u"raw on"_s).outcome);
    first_.Send(PacketBytes(1234));
    ASSERT_TRUE(SpinUntil([this] { return program_->framer.GoodPackets() == 1; }));
    for (const QString& stream : {u"tcp-a"_s, u"tcp-b"_s, u"serial-a"_s, u"serial-b"_s})
        EXPECT_TRUE(Run(u"raw "_s + stream).data[u"lines"_s].toArray().isEmpty()) << stream.toStdString();
    EXPECT_EQ(Run(u"raw serial-c"_s).lines.first(), u"VRQ-5810 packet, serial text 301234"_s);
}

}  // namespace
}  // namespace corvane
