#include "link/serial_link.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>

#include "link/serial_link_fixture.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

TEST_F(SerialLinkTest, EveryByteValueArrivesInOrder) {
    Pty line;
    SerialLink& link = MakeA(line.Path());
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
}

TEST_F(SerialLinkTest, EachConnectionHasItsOwnStream) {
    const struct {
        const SerialLink::Identity* identity;
        QString letter;
        int stream;
        std::string closedLine;
    } cases[] = {
        {&SerialLink::kA, u"A"_s, 1, kClosedA},
        {&SerialLink::kB, u"B"_s, 3, "     Serial Port B Port is Closed."},
        {&SerialLink::kC, u"C"_s, 4, "      Serial Port C Port is Closed."},
    };
    std::array<Pty, 3> far;
    std::array<SerialLink*, 3> links{};
    std::array<QByteArray, 3> packets;
    for (std::size_t i = 0; i < 3; ++i) {
        const QString number = QString::number(10 + i);
        KeepByKey(settings_, u"ComDevice"_s + number, far[i].Path());
        KeepByKey(settings_, u"ComPort"_s + cases[i].letter, number);
        links[i] = &Make(*cases[i].identity);
        ASSERT_EQ(Open(*links[i]), "");
        EXPECT_EQ(TakeLines(), Lines{"     Serial Connection " + cases[i].letter.toStdString() + " Port # " +
                                     number.toStdString() + " is now open."});
        packets[i] = PacketBytes(static_cast<std::uint16_t>(100 + i));
    }
    // Byte by byte in turn: one byte on a wrong stream would spoil a packet.
    for (qsizetype byte = 0; byte < packets[0].size(); ++byte) {
        for (std::size_t i = 0; i < 3; ++i) {
            far[i].Send(packets[i].sliced(byte, 1));
            ASSERT_TRUE(SpinUntil([&] { return links[i]->TakeActivity(); }));
        }
    }
    EXPECT_TRUE(Comes({{1, 100}, {3, 101}, {4, 102}}));
    for (std::size_t i = 0; i < 3; ++i) {
        links[i]->CloseCOM();
        EXPECT_EQ(TakeLines(), Lines{cases[i].closedLine});
        EXPECT_EQ(links[i]->Port(), 0);
    }
}

TEST_F(SerialLinkTest, TheLineHasTheRateChosenAndIsRaw) {
    Pty line;
    SerialLink& link = MakeA(line.Path());
    const struct {
        const char* rate;  ///< null: never chosen
        speed_t speed;
    } cases[] = {{nullptr, B19200}, {"1200", B1200},   {"2400", B2400},   {"4800", B4800},    {"9600", B9600},
                 {"19200", B19200}, {"38400", B38400}, {"57600", B57600}, {"115200", B115200}};
    for (const auto& c : cases) {
        if (c.rate != nullptr) KeepByKey(settings_, u"BaudRateA"_s, QString::fromLatin1(c.rate));
        ASSERT_EQ(Open(link), "") << c.rate;
        const termios settings = line.Settings();
        EXPECT_EQ(cfgetispeed(&settings), c.speed) << c.rate;
        EXPECT_EQ(cfgetospeed(&settings), c.speed) << c.rate;
        EXPECT_EQ(settings.c_cflag & (CSTOPB | CRTSCTS), 0U) << c.rate;
        EXPECT_EQ(settings.c_iflag & (IXON | IXOFF), 0U) << c.rate;
    }
}

TEST_F(SerialLinkTest, TellsThatItIsOpenOnceTheLineHasSettled) {
    Pty line;
    SerialLink& link = MakeA(line.Path());
    std::optional<bool> opened;
    auto opening = link.OpenCOM().then([&opened](const Outcome& outcome) { opened = bool(outcome); });
    EXPECT_TRUE(link.IsOpen());
    EXPECT_EQ(link.Port(), 33);
    line.Send(PacketBytes(5));  // bytes count from the first on
    EXPECT_TRUE(Comes({{1, 5}}));
    clock_.Advance(499);
    EXPECT_EQ(TakeLines(), Lines());
    EXPECT_FALSE(opened.has_value());
    clock_.Advance(1);
    EXPECT_EQ(TakeLines(), Lines{kOpenA});
    EXPECT_EQ(opened, true);
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

TEST_F(SerialLinkTest, AnOpeningThatIsOvertakenSaysSo) {
    Pty line;
    SerialLink& link = MakeA(line.Path());
    std::string first;
    auto opening =
        link.OpenCOM().then([&first](const Outcome& outcome) { first = outcome.Error().toStdString(); });
    clock_.Advance(300);
    EXPECT_EQ(Open(link), "");
    EXPECT_EQ(first, "Serial Connection A was closed again before its line had settled.");
    EXPECT_EQ(TakeLines(), Lines{kOpenA});
}

TEST_F(SerialLinkTest, APacketCutByACloseIsCompletedByTheBytesAfterTheNextOpening) {
    const QByteArray packet = PacketBytes(7);
    const struct {
        QByteArray rest;
        Packets accepted;
        std::uint32_t refused;
    } cases[] = {
        {packet.sliced(30), {{1, 7}}, 0},
        {QByteArray(35, '\0'), {}, 1},
    };
    for (const auto& c : cases) {
        Pty line;
        receiver_.packets.clear();
        const std::uint32_t refusedBefore = framer_.BadPackets();
        SerialLink& link = MakeA(line.Path());
        ASSERT_EQ(Open(link), "");
        line.Send(packet.first(30));
        ASSERT_TRUE(SpinUntil([&] { return link.TakeActivity(); }));
        link.CloseCOM();
        ASSERT_EQ(Open(link), "");
        line.Send(c.rest + PacketBytes(8));
        Packets expected = c.accepted;
        expected.emplace_back(1, 8);
        EXPECT_TRUE(Comes(expected));
        EXPECT_EQ(framer_.BadPackets() - refusedBefore, c.refused);
        link.CloseCOM();
    }
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

TEST_F(SerialLinkTest, SendsWhileOpenOnly) {
    Pty line;
    SerialLink& link = MakeA(line.Path());
    EXPECT_FALSE(link.SendText("TOG"));
    ASSERT_EQ(Open(link), "");
    const QByteArray text = QByteArray("\xFC\x00TOG\n\r", 7);
    EXPECT_TRUE(link.SendText(text));
    EXPECT_TRUE(SpinUntil([&] { return line.Received().size() >= text.size(); }));
    EXPECT_EQ(line.Received(), text);
    link.CloseCOM();
    EXPECT_FALSE(link.SendText("OFF"));
}

TEST_F(SerialLinkTest, SaysWhyAPortCannotBeOpened) {
    const std::string noPort = "No COM port selected. Try \"Find COM Port\" utility";
    const std::string rates = "The baud rate is one of 1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200.";
    const Pty line;
    Pty taken;
    SerialLink& owner = MakeA(taken.Path());
    ASSERT_EQ(Open(owner), "");
    folder_.Write(u"file"_s, "no serial line");
    KeepByKey(settings_, u"ComDevice1"_s, line.Path());
    KeepByKey(settings_, u"ComDevice2"_s, folder_.Path(u"nowhere"_s));
    KeepByKey(settings_, u"ComDevice3"_s, folder_.Path(u"file"_s));
    const std::string inFolder = "Error opening COM port: " + folder_.Path().toStdString();
    const struct {
        const char* port;
        const char* rate;
        std::string error;
    } cases[] = {
        {"", "19200", noPort},
        {"0", "19200", noPort},
        {"65", "19200", noPort},
        {"3.5", "19200", noPort},
        {"nan", "19200", noPort},
        {"COM1", "19200", noPort},
        {"1", "19201", rates},
        {"1", "fast", rates},
        {"2", "19200", inFolder + "/nowhere is not there"},
        {"3", "19200", inFolder + "/file is not there"},
        {"33", "19200", "Error opening COM port: " + taken.Path().toStdString() + " is in use already"},
    };
    SerialLink& link = Make(SerialLink::kB);
    for (const auto& c : cases) {
        KeepByKey(settings_, u"ComPortB"_s, QString::fromLatin1(c.port));
        KeepByKey(settings_, u"BaudRateB"_s, QString::fromLatin1(c.rate));
        EXPECT_EQ(Open(link), c.error) << c.port;
        EXPECT_FALSE(link.IsOpen()) << c.port;
    }
    clock_.AdvanceSeconds(60);
    EXPECT_FALSE(link.IsOpen());
    EXPECT_EQ(TakeLines(), Lines{kOpenA});
}

TEST_F(SerialLinkTest, OpensAtStartUpWhereToldTo) {
    const Pty line;
    const std::string missing =
        "     Serial Connection A: Error opening COM port: /no/such/line is not there";
    const struct {
        QString autoOpen;
        QString port;
        QString device;
        Lines lines;
    } cases[] = {
        {u"True"_s, u"33"_s, line.Path(), {kOpenA}},
        {u"False"_s, u"33"_s, line.Path(), {}},
        {u"True"_s, u""_s, line.Path(), {}},
        {u"True"_s, u"33"_s, u"/no/such/line"_s, {missing}},
    };
    for (const auto& c : cases) {
        KeepByKey(settings_, u"AutoOpen"_s, c.autoOpen);
        KeepByKey(settings_, u"ComPortA"_s, c.port);
        KeepByKey(settings_, u"ComDevice33"_s, c.device);
        SerialLink& link = Make(SerialLink::kA);
        link.StartUp();
        clock_.AdvanceSeconds(20);
        EXPECT_EQ(TakeLines(), c.lines);
        EXPECT_EQ(link.IsOpen(), c.lines == Lines{kOpenA});
        link.CloseCOM();
        (void)TakeLines();
    }
}

}  // namespace
}  // namespace corvane
