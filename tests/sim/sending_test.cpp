// The sending loop and its TCP line over real sockets, with a clock that the test moves.
#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <algorithm>

#include "expected_packets.h"
#include "sim/packet_sender.h"
#include "sim/simulated_monitor.h"
#include "sim/tcp_line.h"
#include "support/fake_clock.h"
#include "support/loopback.h"

namespace corvane {
namespace {

constexpr qint64 kPacket = 65;

class Sending : public testing::Test {
protected:
    Sending() {
        QObject::connect(&line, &TcpLine::Trouble, [this](const QString&) { ++troubles; });
    }
    ~Sending() override { clock.EndWaits(); }

    /// Starts the loop; `ended` tells when it is over.
    QCoro::Task<> Start(Pace pace) {
        co_await SendPackets(monitor, line, clock, pace);
        ended = true;
    }

    [[nodiscard]] bool Ready() { return line.State() == LineState::Ready; }

    void ListenAndCall() {
        ASSERT_TRUE(line.Listen(0));
        peer.connectToHost(QHostAddress::LocalHost, line.ListeningPort());
        ASSERT_TRUE(SpinUntil([this] { return Ready(); }));
    }

    FakeClock clock;
    TcpLine line{clock};
    SimulatedMonitor monitor{{}};
    QTcpSocket peer;
    int troubles = 0;
    bool ended = false;
};

TEST_F(Sending, OnePacketPerPause) {
    ListenAndCall();
    Start({.pause = 400, .count = 3});
    struct {
        int advance;
        qint64 packets;
    } const steps[] = {{399, 0}, {1, 1}, {399, 1}, {1, 2}, {400, 3}};
    for (const auto& step : steps) {
        clock.Advance(step.advance);
        ASSERT_TRUE(SpinUntil([&] { return line.Unsent() == 0; }));
        ASSERT_TRUE(SpinUntil([&] { return peer.bytesAvailable() >= step.packets * kPacket; }));
        EXPECT_EQ(peer.bytesAvailable(), step.packets * kPacket) << clock.Monotonic();
    }
    clock.Advance(1000);
    EXPECT_TRUE(ended);
    EXPECT_EQ(peer.readAll(), PacketsOf({}, 3));
}

TEST_F(Sending, TheMonitorWaitsForAPeerAndForASlowOne) {
    constexpr int kCount = 200'000;  // several times what the system's buffers hold
    Start({.pause = 0.5, .count = kCount});
    clock.Advance(100);
    peer.setReadBufferSize(1);
    ASSERT_TRUE(peer.bind(QHostAddress::LocalHost));
    peer.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 256 * 1024);
    ListenAndCall();
    std::int64_t most = 0;
    for (int i = 0; i < 200; ++i) {
        clock.Advance(1);
        most = std::max(most, line.Unsent());
        QCoreApplication::processEvents();
    }
    EXPECT_FALSE(Ready());
    EXPECT_LE(most, TcpLine::kMostUnsent + kPacket);
    EXPECT_FALSE(ended);

    peer.setReadBufferSize(0);
    QByteArray bytes;
    EXPECT_TRUE(SpinUntil([&] {
        clock.Advance(1);
        bytes += peer.readAll();
        return bytes.size() >= kCount * kPacket;
    }));
    clock.Advance(1);
    EXPECT_TRUE(ended);
    EXPECT_TRUE(bytes == PacketsOf({}, kCount));
}

TEST_F(Sending, ASecondPeerIsTurnedAwayWhileTheFirstIsThere) {
    ListenAndCall();
    QTcpSocket second;
    second.connectToHost(QHostAddress::LocalHost, line.ListeningPort());
    EXPECT_TRUE(SpinUntil([&] { return second.state() == QAbstractSocket::UnconnectedState; }));
    EXPECT_TRUE(Ready());

    peer.disconnectFromHost();
    ASSERT_TRUE(SpinUntil([&] { return !Ready(); }));
    second.connectToHost(QHostAddress::LocalHost, line.ListeningPort());
    ASSERT_TRUE(SpinUntil([&] { return Ready(); }));
    Start({.pause = 100, .count = 1});
    clock.Advance(100);
    EXPECT_TRUE(SpinUntil([&] { return second.bytesAvailable() == kPacket; }));
}

TEST_F(Sending, ConnectsAgainEveryTwoSecondsAndSaysSoOnce) {
    const std::uint16_t port = FreePort();
    line.KeepConnected(QStringLiteral("127.0.0.1"), port);
    int failures = 0;
    const auto* caller = line.findChild<QTcpSocket*>();
    QObject::connect(caller, &QTcpSocket::errorOccurred, [&] { ++failures; });
    for (int attempt = 1; attempt <= 3; ++attempt) {
        ASSERT_TRUE(SpinUntil([&] { return failures == attempt; }));
        clock.Advance(attempt < 3 ? 2000 : 0);
    }
    EXPECT_EQ(troubles, 1);

    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost, port));
    for (int round = 2; round <= 3; ++round) {
        clock.Advance(1999);
        EXPECT_EQ(caller->state(), QAbstractSocket::UnconnectedState);
        clock.Advance(1);
        ASSERT_TRUE(SpinUntil([&] { return Ready() && server.hasPendingConnections(); }));
        delete server.nextPendingConnection();
        ASSERT_TRUE(SpinUntil([&] { return troubles == round; })) << "a loss after success is said again";
    }
}

}  // namespace
}  // namespace corvane
