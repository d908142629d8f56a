#include "link/serial_link.h"

#include <QFile>

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "link/link_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST_F(SerialLinkTest, EveryByteValueArrivesInOrderAndIsSentWhileOpenOnly) {
    Pty line;
    SerialLink& link = MakeA(line.Path());
    EXPECT_FALSE(link.SendText("TOG"));
    ASSERT_EQ(Open(link), "");
    framer_.SetRawDisplay(kStreamSerialA, true);
    EXPECT_FALSE(link.TakeActivity());
    QByteArray sent;
    for (int i = 0; i < 40 * 256; ++i)
        sent.append(static_cast<char>(i));
    line.Send(sent);
    ASSERT_TRUE(SpinUntil(
        [&] { return framer_.RawText(kStreamSerialA).size() >= static_cast<std::size_t>(sent.size()); }));
    EXPECT_EQ(framer_.RawText(kStreamSerialA), sent.toStdString());
    EXPECT_TRUE(link.TakeActivity());
    EXPECT_FALSE(link.TakeActivity());
    sent.truncate(256);
    EXPECT_TRUE(link.SendText(sent));
    EXPECT_TRUE(SpinUntil([&] { return line.Received().size() >= sent.size(); }));
    EXPECT_EQ(line.Received(), sent);
    link.CloseCOM();
    EXPECT_FALSE(link.SendText("OFF"));
}

TEST_F(SerialLinkTest, EachConnectionHasItsOwnStream) {
    const struct {
        const SerialLink::Identity& identity;
        const char* letter;
        std::string closedLine;
    } cases[] = {
        {SerialLink::kA, "A", kClosedA},
        {SerialLink::kB, "B", "     Serial Port B Port is Closed."},
        {SerialLink::kC, "C", "      Serial Port C Port is Closed."},
    };
    std::array<Pty, 3> far;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::string number = std::to_string(10 + i);
        KeepByKey(settings_, u"ComDevice%1"_s.arg(10 + i), far[i].Path());
        KeepByKey(settings_, u"ComPort"_s + QLatin1StringView(cases[i].letter), QString::number(10 + i));
        ASSERT_EQ(Open(Make(cases[i].identity)), "");
        EXPECT_EQ(TakeLines(), Lines{std::string("     Serial Connection ") + cases[i].letter + " Port # " +
                                     number + " is now open."});
    }
    // Byte by byte in turn: one byte on a wrong stream would spoil a packet.
    for (qsizetype byte = 0; byte < PacketBytes(100).size(); ++byte) {
        for (std::uint16_t i = 0; i < 3; ++i) {
            far[i].Send(PacketBytes(100 + i).sliced(byte, 1));
            ASSERT_TRUE(SpinUntil([&] { return links_[i]->TakeActivity(); }));
        }
    }
    EXPECT_TRUE(Comes({{1, 100}, {3, 101}, {4, 102}}));
    for (std::size_t i = 0; i < 3; ++i) {
        links_[i]->CloseCOM();
        EXPECT_EQ(TakeLines(), Lines{cases[i].closedLine});
        EXPECT_EQ(links_[i]->Port(), 0);
    }
}

TEST_F(SerialLinkTest, TheLineHasTheRateChosenAndNoFlowControl) {
    Pty line;
    SerialLink& link = MakeA(line.Path());
    for (const auto& [rate, speed] :
         {std::pair("", B19200), {"1200", B1200}, {"38400", B38400}, {"115200", B115200}}) {
        if (*rate != '\0') KeepByKey(settings_, u"BaudRateA"_s, QString::fromLatin1(rate));
        ASSERT_EQ(Open(link), "") << rate;
        const termios settings = line.Settings();
        EXPECT_EQ(cfgetispeed(&settings), speed_t(speed)) << rate;
        EXPECT_EQ(cfgetospeed(&settings), speed_t(speed)) << rate;
        EXPECT_EQ(settings.c_cflag & (CSTOPB | CRTSCTS), 0U) << rate;
        EXPECT_EQ(settings.c_iflag & (IXON | IXOFF), 0U) << rate;
    }
}

TEST_F(SerialLinkTest, TellsThatItIsOpenOnceTheLineHasSettledAndAnOvertakenOpeningSaysSo) {
    Pty line;
    SerialLink& link = MakeA(line.Path());
    std::vector<std::string> answers;
    const auto open = [&] {
        link.OpenCOM().then(
            [&](const Outcome& outcome) { answers.push_back(outcome.Error().toStdString()); });
    };
    open();
    EXPECT_TRUE(link.IsOpen());
    EXPECT_EQ(link.Port(), 33);
    line.Send(PacketBytes(5));  // bytes count from the first on
    EXPECT_TRUE(Comes({{1, 5}}));
    clock_.Advance(300);
    open();
    clock_.Advance(499);
    EXPECT_EQ(TakeLines(), Lines());
    const std::string overtaken = "Serial Connection A was closed again before its line had settled.";
    EXPECT_EQ(answers, Lines{overtaken});
    clock_.Advance(1);
    EXPECT_EQ(TakeLines(), Lines{kOpenA});
    EXPECT_EQ(answers, (Lines{overtaken, ""}));
}

TEST_F(SerialLinkTest, OpeningTwiceClosesAndOpensWithWhatIsChosenNow) {
    Pty first;
    Pty second;
    SerialLink& link = MakeA(first.Path());
    ASSERT_EQ(Open(link), "");
    ASSERT_EQ(Open(link), "");  // the same port: it was closed, or it would be in use
    EXPECT_EQ(TakeLines(), (Lines{kOpenA, kOpenA}));

    KeepByKey(settings_, u"ComDevice34"_s, second.Path());
    KeepByKey(settings_, u"ComPortA"_s, u"34"_s);
    EXPECT_TRUE(link.Uses(first.Path()));
    ASSERT_EQ(Open(link), "");
    EXPECT_TRUE(link.Uses(second.Path()));
    EXPECT_EQ(ports_.TestPort(first.Path()), PortState::Free);
    second.Send(PacketBytes(2));
    EXPECT_TRUE(Comes({{1, 2}}));
}

TEST_F(SerialLinkTest, APacketCutByACloseIsCompletedByTheBytesAfterTheNextOpening) {
    const QByteArray packet = PacketBytes(7);
    Pty line;
    SerialLink& link = MakeA(line.Path());
    for (const auto& [rest, accepted] :
         {std::pair(packet.sliced(30), Packets{{1, 7}, {1, 8}}), {QByteArray(35, '\0'), Packets{{1, 8}}}}) {
        receiver_.packets.clear();
        ASSERT_EQ(Open(link), "");
        line.Send(packet.first(30));
        ASSERT_TRUE(SpinUntil([&] { return link.TakeActivity(); }));
        link.CloseCOM();
        ASSERT_EQ(Open(link), "");
        line.Send(rest + PacketBytes(8));
        EXPECT_TRUE(Comes(accepted));
        EXPECT_TRUE(link.TakeActivity());
    }
    EXPECT_EQ(framer_.BadPackets(), 1U);
}

TEST_F(SerialLinkTest, WhatComesWhileReadingIsOffIsTakenLater) {
    Pty line;
    SerialLink& link = MakeA(line.Path());
    ASSERT_EQ(Open(link), "");
    link.SetReading(false);
    Packets all;
    for (std::uint16_t number = 1; number <= 40; ++number) {  // more than the port's own buffer takes
        line.Send(PacketBytes(number));
        all.emplace_back(kStreamSerialA, number);
    }
    const QDeadlineTimer enough(50);
    ASSERT_TRUE(SpinUntil([&] { return enough.hasExpired(); }));
    EXPECT_TRUE(receiver_.packets.empty());
    link.SetReading(true);
    EXPECT_TRUE(Comes(all));
}

TEST_F(SerialLinkTest, SaysWhyAPortCannotBeOpened) {
    const Pty taken;
    ASSERT_EQ(Open(MakeA(taken.Path())), "");
    folder_.Write(u"file"_s, "no serial line");
    KeepByKey(settings_, u"ComDevice2"_s, folder_.Path(u"nowhere"_s));
    KeepByKey(settings_, u"ComDevice3"_s, folder_.Path(u"file"_s));
    const std::string failed = "Error opening COM port: ";
    const std::string inFolder = failed + folder_.Path().toStdString();
    std::vector<std::pair<std::string, std::string>> cases = {
        {"2", inFolder + "/nowhere is not there"},
        {"3", inFolder + "/file is not there"},
        {"33", failed + taken.Path().toStdString() + " is in use already"}};
    for (const char* port : {"", "0", "65", "3.5", "COM1"})
        cases.emplace_back(port, "No COM port selected. Try \"Find COM Port\" utility");
    SerialLink& link = Make(SerialLink::kB);
    for (const auto& [port, error] : cases) {
        KeepByKey(settings_, u"ComPortB"_s, QString::fromStdString(port));
        EXPECT_EQ(Open(link), error) << port;
    }
    clock_.AdvanceSeconds(60);
    EXPECT_FALSE(link.IsOpen());
    EXPECT_EQ(TakeLines(), Lines{kOpenA});
}

TEST_F(SerialLinkTest, OpensAtStartUpWhereToldTo) {
    const Pty line;
    const std::tuple<QString, QString, Lines> cases[] = {
        {u"True"_s, u"33"_s, {kOpenA}}, {u"False"_s, u"33"_s, {}}, {u"True"_s, u""_s, {}}};
    SerialLink& link = MakeA(line.Path());
    for (const auto& [autoOpen, port, lines] : cases) {
        KeepByKey(settings_, u"AutoOpen"_s, autoOpen);
        KeepByKey(settings_, u"ComPortA"_s, port);
        link.StartUp();
        clock_.AdvanceSeconds(20);
        EXPECT_EQ(TakeLines(), lines);
        EXPECT_EQ(link.IsOpen(), lines == Lines{kOpenA});
        link.CloseCOM();
        (void)TakeLines();
    }
}

/// A serial port that goes while it is open, and comes back or does not.
class VanishedPort : public SerialLinkTest {
protected:
    /// Puts another device behind a symbolic link.
    static void PointTo(const QString& link, const QString& device) {
        QFile::remove(link);
        ASSERT_TRUE(QFile::link(device, link));
    }

    /// The cable is pulled out and the link goes; the system may give the device's number to somebody else.
    static void PullOut(Pty& line, const QString& link) {
        QFile::remove(link);
        line.HangUp();
    }

    [[nodiscard]] static bool IsClosedByItself(SerialLink& link) {
        return SpinUntil([&link] { return !link.IsOpen(); });
    }
};

TEST_F(VanishedPort, IsToldOnceAndComesBackBehindTheSameLink) {
    const QString path = folder_.Path(u"monitor"_s);
    auto line = std::make_unique<Pty>();
    const QString device = line->Path();
    PointTo(path, device);
    SerialLink& link = MakeA(path);
    ASSERT_EQ(Open(link), "");
    EXPECT_EQ(TakeLines(), Lines{kOpenA});

    line->Send(PacketBytes(1));
    ASSERT_TRUE(Comes({{1, 1}}));
    PullOut(*line, path);
    ASSERT_TRUE(IsClosedByItself(link));
    const std::string lost = "Port # 33 (" + device.toStdString() + ") was lost.";
    for (int second = 0; second < 23; ++second) {  // it stays away for some attempts
        EXPECT_EQ(link.Notice(), u"The port is gone. Reconnecting in %1 sec."_s.arg(5 - second % 5));
        clock_.AdvanceSeconds(1);
    }
    EXPECT_EQ(TakeLines(), Lines{"     Serial Connection A " + lost});
    ASSERT_EQ(errorLog_.Load().lines.size(), 1);
    EXPECT_TRUE(errorLog_.Load().lines[0].startsWith(QString::fromStdString("0\t" + lost)));

    const Pty other;  // so that the new line is not the old device
    line = std::make_unique<Pty>();
    PointTo(path, line->Path());
    clock_.AdvanceSeconds(2);
    EXPECT_TRUE(link.IsOpen());
    EXPECT_EQ(link.Notice(), u""_s);
    clock_.Advance(500);
    EXPECT_EQ(TakeLines(), Lines{kOpenA});
    line->Send(PacketBytes(2));
    EXPECT_TRUE(Comes({{1, 1}, {1, 2}}));
    line->HangUp();  // a new loss is news again
    ASSERT_TRUE(IsClosedByItself(link));
    EXPECT_EQ(TakeLines().size(), 1U);
    EXPECT_EQ(errorLog_.Load().lines.size(), 2);
}

TEST_F(VanishedPort, ThatComesAndGoesBeforeItSettlesIsToldOnce) {
    const QString path = folder_.Path(u"monitor"_s);
    SerialLink& link = MakeA(path);
    for (int round = 0; round < 3; ++round) {
        Pty line;
        PointTo(path, line.Path());
        if (round == 0) {
            ASSERT_EQ(Open(link), "");
            clock_.Advance(500);  // to a full second: the attempts come with the clock's ticks
        } else {
            clock_.AdvanceSeconds(5);
            ASSERT_TRUE(link.IsOpen());
        }
        line.HangUp();
        ASSERT_TRUE(IsClosedByItself(link));
    }
    EXPECT_EQ(TakeLines().size(), 2U);  // open, lost
    EXPECT_EQ(errorLog_.Load().lines.size(), 1);
}

TEST_F(VanishedPort, ThatIsNotToBeHadAtTheStartIsTriedAgainAndEachReasonToldOnce) {
    const Pty line;
    FakePorts ports;
    MakeA(line.Path());
    SerialLink link(SerialLink::kA, ports, framer_, settings_, board_, errorLog_, clock_);
    KeepByKey(settings_, u"AutoOpen"_s, true);
    qsizetype logged = 0;
    for (const PortState state : {PortState::Missing, PortState::Busy, PortState::Denied, PortState::Free}) {
        ports.states[line.Path()] = state;
        if (state == PortState::Missing) {
            link.StartUp();
        } else {
            clock_.AdvanceSeconds(5);
        }
        if (state == PortState::Free) break;
        const std::string reason = "Error opening COM port: " +
                                   (line.Path() + u' ' + PortStateText(state, line.Path())).toStdString();
        EXPECT_EQ(TakeLines(), Lines{"     Serial Connection A: " + reason});
        EXPECT_EQ(errorLog_.Load().lines.size(), ++logged);
        EXPECT_EQ(link.Notice().toStdString(), reason + ". Reconnecting in 5 sec.");
        clock_.AdvanceSeconds(11);
        EXPECT_EQ(link.Notice().toStdString(), reason + ". Reconnecting in 4 sec.");
        clock_.AdvanceSeconds(4);
        EXPECT_EQ(TakeLines(), Lines());
    }
    EXPECT_TRUE(link.IsOpen());
    EXPECT_EQ(link.Notice(), u""_s);
    clock_.Advance(500);
    EXPECT_EQ(TakeLines(), Lines{kOpenA});
}

TEST_F(VanishedPort, IsNotTriedAgainOnceTheUserClosesItChoosesAnotherOrHasOpenedIt) {
    const QString path = folder_.Path(u"monitor"_s);
    SerialLink& link = MakeA(path);
    KeepByKey(settings_, u"ComDevice34"_s, folder_.Path(u"other"_s));
    enum { Closed, Another, Opened };
    for (const auto what : {Closed, Another, Opened}) {
        KeepByKey(settings_, u"ComPortA"_s, u"33"_s);
        Pty line;
        PointTo(path, line.Path());
        ASSERT_EQ(Open(link), "");
        PullOut(line, path);
        ASSERT_TRUE(IsClosedByItself(link));
        EXPECT_EQ(Open(link), "Error opening COM port: " + path.toStdString() + " is not there");
        KeepByKey(settings_, u"ComPortA"_s, u"33"_s);
        KeepByKey(settings_, u"ComPortB"_s, u"34"_s);
        EXPECT_NE(link.Notice(), u""_s);  // none of these ends the attempts

        const Pty back;
        (void)TakeLines();
        if (what == Closed) link.CloseCOM();
        if (what == Another) KeepByKey(settings_, u"comporta"_s, u"34"_s);
        if (what == Opened) {
            PointTo(path, back.Path());
            ASSERT_EQ(Open(link), "");
        }
        PointTo(path, back.Path());
        PointTo(folder_.Path(u"other"_s), back.Path());
        EXPECT_EQ(link.Notice(), u""_s);
        clock_.AdvanceSeconds(60);
        EXPECT_EQ(link.IsOpen(), what == Opened);
        EXPECT_EQ(TakeLines(), what == Closed ? Lines{kClosedA} : what == Opened ? Lines{kOpenA} : Lines());
    }
}

TEST_F(SerialLinkTest, AnOpeningKeepsThePortAndRateThatWereGivenOnceItSucceeds) {
    const Pty line;
    SerialLink& link = MakeA(u"/no/such/line"_s);
    KeepByKey(settings_, u"ComDevice34"_s, line.Path());
    const auto open = [&](const QString& port, const QString& rate) {
        std::string error;
        link.OpenCOM(port, rate).then([&](const Outcome& opened) { error = opened.Error().toStdString(); });
        clock_.Advance(500);
        return error + " | " + KeptByKey(settings_, u"ComPortA"_s).toStdString() + " at " +
               KeptByKey(settings_, u"BaudRateA"_s, u"none"_s).toStdString();
    };
    const std::string rates = "The baud rate is one of 1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200.";
    EXPECT_EQ(open(u"34"_s, u"1e4"_s), rates + " | 33 at none");
    EXPECT_EQ(open(u"34"_s, u"9600,N"_s), rates + " | 33 at none");
    EXPECT_EQ(open(u"33"_s, u"9600"_s), "Error opening COM port: /no/such/line is not there | 33 at none");
    EXPECT_EQ(open(u"34.0"_s, u" 9.6e3 "_s), " | 34 at 9600");
    EXPECT_EQ(open(u"3.4e1"_s, u"19200.0"_s), " | 34 at 19200");
}

}  // namespace
}  // namespace corvane
