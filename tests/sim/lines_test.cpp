// The sending loop over real sockets, terminals and serial ports, with a clock that the test moves.
#include <QFile>
#include <QFileInfo>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

#include <sys/ioctl.h>

#include "expected_packets.h"
#include "sim/packet_sender.h"
#include "sim/pty_line.h"
#include "sim/serial_port_line.h"
#include "sim/tcp_line.h"
#include "support/fake_clock.h"
#include "support/loopback.h"
#include "support/pty.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr qsizetype kPacket = 65;

class LinesTest : public testing::Test {
protected:
    LinesTest() {
        QObject::connect(&tcp, &TcpLine::Trouble, [this](const QString& text) { troubles << text; });
        EXPECT_TRUE(pty.Open(link));
    }
    ~LinesTest() override { clock.EndWaits(); }

    /// Starts the loop; `ended` tells when it is over.
    QCoro::Task<> Start(Line& line, Pace pace) {
        co_await SendPackets(monitor, line, clock, pace);
        ended = true;
    }

    void ListenAndCall() {
        ASSERT_TRUE(tcp.Listen(0));
        peer.connectToHost(QHostAddress::LocalHost, tcp.ListeningPort());
        ASSERT_TRUE(SpinUntil([this] { return tcp.State() == LineState::Ready; }));
    }

    /// Lets time pass until the listener has got that many bytes.
    QByteArray Receive(Listener& listener, qsizetype count) {
        QByteArray bytes;
        EXPECT_TRUE(SpinUntil([&] {
            clock.Advance(1);
            bytes += listener.Read(count - bytes.size());
            return bytes.size() == count;
        })) << bytes.size();
        return bytes;
    }

    /// Lets the loop run until the line has been blocked for long, and then `read` all that there is.
    void ExpectAllArrive(Line& line, int count, std::int64_t mostUnsent,
                         const std::function<QByteArray()>& read) {
        std::int64_t most = 0;
        ASSERT_TRUE(SpinUntil([&, blocked = 0]() mutable {
            clock.Advance(1);
            most = std::max(most, line.Unsent());
            blocked = line.State() == LineState::Blocked ? blocked + 1 : 0;
            return blocked == 50;
        }));
        EXPECT_LE(most, mostUnsent + kPacket);
        EXPECT_FALSE(ended);
        QByteArray bytes;
        EXPECT_TRUE(SpinUntil([&] {
            clock.Advance(1);
            bytes += read();
            return bytes.size() >= count * kPacket && ended;
        }));
        EXPECT_TRUE(bytes == PacketsOf({}, count)) << bytes.size();
    }

    TempFolder folder;
    const QString link = folder.Path(u"meter"_s);
    FakeClock clock;
    TcpLine tcp{clock};
    PtyLine pty;
    Pty farEnd;
    SerialPortLine serial;
    SimulatedMonitor monitor{{}};
    QTcpSocket peer;
    QStringList troubles;
    bool ended = false;
};

// Of each line several times as many packets as the system holds.

TEST_F(LinesTest, TheMonitorWaitsForAPeerAndForASlowOne) {
    Start(tcp, {.pause = 0.5, .count = 200'000});
    clock.Advance(100);
    peer.setReadBufferSize(1);
    ASSERT_TRUE(peer.bind(QHostAddress::LocalHost));
    peer.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 256 * 1024);
    ListenAndCall();
    ExpectAllArrive(tcp, 200'000, TcpLine::kMostUnsent, [this] {
        peer.setReadBufferSize(0);
        return peer.readAll();
    });
}

TEST_F(LinesTest, AListenerAtATerminalGetsAllPacketsHoweverSlowItIs) {
    Listener listener(link);
    Start(pty, {.pause = 0.5, .count = 2000});
    ExpectAllArrive(pty, 2000, PtyLine::kMostUnread, [&] { return listener.Read(4096); });
}

TEST_F(LinesTest, ASerialPortHasItsSpeedAndIsSentNoMoreThanItTakes) {
    ASSERT_TRUE(serial.Open(farEnd.Path(), 38400));
    const termios settings = farEnd.Settings();
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B38400});
    Start(serial, {.pause = 0.5, .count = 2000});
    ExpectAllArrive(serial, 2000, SerialPortLine::kMostUnsent, [this, taken = qsizetype{0}]() mutable {
        const QByteArray& all = farEnd.Received();
        return all.sliced(std::exchange(taken, all.size()));
    });
}

TEST_F(LinesTest, ASecondPeerIsTurnedAwayWhileTheFirstIsThere) {
    ListenAndCall();
    QTcpSocket second;
    second.connectToHost(QHostAddress::LocalHost, tcp.ListeningPort());
    EXPECT_TRUE(SpinUntil([&] { return second.state() == QAbstractSocket::UnconnectedState; }));
    EXPECT_EQ(tcp.State(), LineState::Ready);

    peer.disconnectFromHost();
    ASSERT_TRUE(SpinUntil([&] { return tcp.State() == LineState::Blocked; }));
    second.connectToHost(QHostAddress::LocalHost, tcp.ListeningPort());
    ASSERT_TRUE(SpinUntil([&] { return tcp.State() == LineState::Ready; }));
}

TEST_F(LinesTest, ConnectsAgainEveryTwoSecondsAndSaysSoOnce) {
    const std::uint16_t port = FreePort();
    tcp.KeepConnected(u"127.0.0.1"_s, port);
    int failures = 0;
    const auto* caller = tcp.findChild<QTcpSocket*>();
    QObject::connect(caller, &QTcpSocket::errorOccurred, [&] { ++failures; });
    for (int attempt = 1; attempt <= 3; ++attempt) {
        ASSERT_TRUE(SpinUntil([&] { return failures == attempt; }));
        clock.Advance(attempt < 3 ? 2000 : 0);
    }
    const QString told = u"No connection to 127.0.0.1 port %1: Connection refused. Trying again every 2 s."_s;
    EXPECT_EQ(troubles, QStringList{told.arg(port)});

    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost, port));
    const struct {
        int asleep;   ///< seconds that pass before the next attempt
        int heldFor;  ///< ms until the server closes
        const char* told;
    } rounds[] = {
        {0, 0, "turned away, as when another gateway has the place"},
        {0, 0, nullptr},
        {60, 0, "turned away, as when another gateway has the place"},
        {0, 1000, "The remote host closed the connection"},
        {0, 1000, "The remote host closed the connection"},
    };
    for (const auto& round : rounds) {
        clock.Sleep(round.asleep);
        int waited = 0;
        for (; caller->state() == QAbstractSocket::UnconnectedState && waited < 3000; ++waited)
            clock.Advance(1);
        EXPECT_LE(waited, 2000);
        ASSERT_TRUE(
            SpinUntil([&] { return tcp.State() == LineState::Ready && server.hasPendingConnections(); }));
        clock.Advance(round.heldFor);
        troubles.clear();
        delete server.nextPendingConnection();
        ASSERT_TRUE(SpinUntil([&] { return caller->state() == QAbstractSocket::UnconnectedState; }));
        EXPECT_EQ(troubles.size(), round.told == nullptr ? 0 : 1);
        if (round.told != nullptr) {
            EXPECT_TRUE(troubles.value(0).contains(QLatin1StringView(round.told)));
        }
    }
}

TEST_F(LinesTest, PacketsThatNobodyHearsAreLostAndLateListenersStartWithAWholeOne) {
    Start(pty, {.pause = 400, .count = 6});
    clock.Advance(2 * 400);

    std::optional<Listener> listener(link);
    clock.Advance(400);
    EXPECT_EQ(Receive(*listener, 20), PacketsOf({}, 3).sliced(2 * kPacket, 20));
    listener.reset();
    clock.Advance(400);

    listener.emplace(link);
    clock.Advance(2 * 400);
    EXPECT_EQ(Receive(*listener, 2 * kPacket - 1), PacketsOf({}, 6).sliced(4 * kPacket).chopped(1));
    clock.Advance(100);
    EXPECT_EQ(pty.Unsent(), 1);
    EXPECT_FALSE(ended) << "the terminal is not to go before its last byte is read";
    EXPECT_EQ(listener->Read(2).size(), 1);
    clock.Advance(1);
    EXPECT_TRUE(ended);
}

TEST_F(LinesTest, AListenersLockLastsAsLongAsTheListener) {
    std::optional<Listener> listener(link);
    const auto locked = [&listener] {
        int exclusive = 0;
        return ioctl(listener->Descriptor(), TIOCGEXCL, &exclusive) == 0 && exclusive != 0;
    };
    ASSERT_EQ(ioctl(listener->Descriptor(), TIOCEXCL), 0);
    EXPECT_EQ(pty.State(), LineState::Ready);
    EXPECT_TRUE(locked());

    listener.reset();  // as a killed program goes: without unlocking
    EXPECT_EQ(pty.State(), LineState::Unheard);
    listener.emplace(link);
    EXPECT_FALSE(locked());
}

TEST_F(LinesTest, WhatComesInIsReadWithoutEndAndNotAnswered) {
    Listener listener(link);
    qsizetype left = 1 << 20;  // much more than the system holds
    EXPECT_TRUE(SpinUntil([&] { return (left -= listener.Write(QByteArray(10'000, '\n'))) <= 0; }));
    EXPECT_EQ(listener.Read(1), QByteArray());

    ASSERT_TRUE(serial.Open(farEnd.Path(), 19200));
    farEnd.Send(QByteArray(1 << 20, '\n'));  // fails where the port is not read
    EXPECT_EQ(farEnd.Received(), QByteArray());
}

TEST_F(LinesTest, OnlyALinkThatAnEarlierRunLeftBehindIsReplaced) {
    folder.Write(u"file"_s, "letters");
    ASSERT_TRUE(QFile::link(u"/dev/null"_s, folder.Path(u"foreign"_s)));
    ASSERT_TRUE(QFile::link(u"/nowhere/at/all"_s, folder.Path(u"dangling"_s)));
    ASSERT_TRUE(QFile::link(u"/dev/pts/ptmx"_s, folder.Path(u"terminal"_s)));
    struct {
        const char* name;
        const char* refusal;
    } const cases[] = {{"dangling", ""},
                       {"terminal", ""},
                       {"foreign", "File exists"},
                       {"file", "File exists"},
                       {"missing/meter", "No such file or directory"}};
    for (const auto& c : cases) {
        const QString path = folder.Path(QString::fromLatin1(c.name));
        const std::string refusal = "Cannot make the link " + path.toStdString() + ": " + c.refusal;
        const bool replaced = *c.refusal == '\0';
        auto line = std::make_unique<PtyLine>();
        EXPECT_EQ(line->Open(path).Error().toStdString(), replaced ? "" : refusal);
        EXPECT_EQ(QFileInfo(path).symLinkTarget().startsWith(u"/dev/pts/"_s), replaced) << c.name;
        line.reset();
        EXPECT_EQ(QFileInfo(path).isSymLink(), c.name == std::string("foreign")) << c.name;
    }
    EXPECT_EQ(folder.Read(u"file"_s), "letters");

    auto earlier = std::make_unique<PtyLine>();
    ASSERT_TRUE(earlier->Open(folder.Path(u"other"_s)));
    PtyLine later;
    ASSERT_TRUE(later.Open(folder.Path(u"other"_s)));
    earlier.reset();
    EXPECT_TRUE(QFileInfo(folder.Path(u"other"_s)).isSymLink()) << "it is that of a later run";
}

}  // namespace
}  // namespace corvane
