#include "forward/tcp_forwarding.h"

#include <QDir>

#include <malloc.h>

#include <tuple>

#include "base/status_board.h"
#include "forward/checked_entries.h"
#include "measure/measurement_fixture.h"
#include "support/data_lines.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class TcpForwardingTest : public MeasurementFixture {
protected:
    TcpForwardingTest() {
        Set(u"HAserverPort"_s, QString::number(portB_));
        Set(u"TcpPortHA"_s, QString::number(portListening_));
        framer_.AddDestination(forwarding_);
        measurement_->AddSink(forwarding_);
    }

    /// The packet as a link feeds it, and as a peer is to see it.
    QByteArray Feed(std::uint32_t seconds) {
        const Bytes packet =
            PacketOf({.ch1Absolute = seconds * 150ULL, .serialNumber = 1234, .seconds = seconds});
        for (const std::uint8_t byte : packet)
            framer_.ProcessByte(kStreamTcpA, byte);
        return {reinterpret_cast<const char*>(packet.data()), qsizetype(packet.size())};
    }

    [[nodiscard]] static bool Becomes(const ForwardingServer& server, SocketState state) {
        return SpinUntil([&] { return server.State() == state; });
    }

    [[nodiscard]] std::string LogText() { return errorLog_.Load().lines.join(u'\n').toStdString(); }

    /// That a peer has gone shows at the latest when something is sent to it.
    [[nodiscard]] bool ListensAfterPackets(const ForwardingServer& server) {
        return SpinUntil([&] {
            Feed(1020);
            clock_.AdvanceSeconds(1);
            return server.State() == SocketState::Listening;
        });
    }

    const std::uint16_t portB_ = FreePort();
    const std::uint16_t portListening_ = FreePort();
    StatusBoard board_;
    Framer framer_{*measurement_};
    TcpForwarding forwarding_{framer_, settings_, board_, errorLog_, clock_};
};

TEST_F(TcpForwardingTest, EachRoleGetsWhatItsModeSaysAndABrokenOffPeerGivesWayToTheNext) {
    QTcpServer remote;
    ASSERT_TRUE(remote.listen(QHostAddress(u"127.0.0.10"_s)));  // not 127.0.0.010, an octal 8
    Set(u"ClientTCPip"_s, u"127.0.0.10"_s);
    Set(u"ClientPort"_s, QString::number(remote.serverPort()));
    for (const QString& key : {u"ServerEnable"_s, u"HAServerEnable"_s, u"ClientEnable"_s, u"HAbinaryData"_s})
        Set(key, u"True"_s);
    EXPECT_EQ(settings_.Value(kRemoteHost), u"127.000.000.010"_s);
    for (int round = 0; round < 2; ++round) {
        FarEnd b(portB_);
        FarEnd listening(portListening_);
        ASSERT_TRUE(Becomes(forwarding_.serverB, SocketState::Connected));
        ASSERT_TRUE(Becomes(forwarding_.listeningServer, SocketState::Connected));
        ASSERT_TRUE(SpinUntil([&] { return forwarding_.client.State() == SocketState::Connected; }));
        FarEnd second(portB_);
        ASSERT_TRUE(SpinUntil([&] { return second.IsGone(); }));  // one peer at a time

        QByteArray sent = Feed(1000);
        clock_.AdvanceSeconds(10);
        sent += Feed(1010);
        ASSERT_TRUE(SpinUntil([&] { return b.Received() == sent; }));
        ASSERT_TRUE(SpinUntil([&] { return listening.Received().count('\n') == 2; }));
        EXPECT_TRUE(listening.Received().split('\n')[1].startsWith("CH1P=150&CH2P=0&Paux1=0"));
        EXPECT_TRUE(listening.Received().endsWith(
            QByteArray::fromStdString("&Time=" + ClockText(clock_.Now()) + "\r\n")));
        if (round == 0) {
            ASSERT_TRUE(SpinUntil([&] { return remote.hasPendingConnections(); }));
            QTcpSocket* peer = remote.nextPendingConnection();
            EXPECT_TRUE(SpinUntil([&] { return peer->bytesAvailable() == sent.size(); }));
            EXPECT_EQ(peer->readAll(), sent);
            peer->abort();  // the client comes again after five seconds
            ASSERT_TRUE(SpinUntil([&] {
                Feed(1010);
                return forwarding_.client.State() == SocketState::Closed;
            }));
            EXPECT_EQ(forwarding_.client.Notice(), u"Reconnecting in 5 sec."_s);
            clock_.AdvanceSeconds(5);
        }
        b.Close();
        listening.Close();
        ASSERT_TRUE(ListensAfterPackets(forwarding_.serverB));
        ASSERT_TRUE(ListensAfterPackets(forwarding_.listeningServer));
        EXPECT_EQ(std::ranges::count(board_.Lines(), u"      TCP Server B Closed"_s), round + 1);
    }
}

TEST_F(TcpForwardingTest, APeerThatSaysNoMoreGoesOnReadingUntilAnotherOneComes) {
    Set(u"HAServerEnable"_s, u"True"_s);
    Set(u"HAbinaryData"_s, u"True"_s);
    FarEnd peer(portB_);
    ASSERT_TRUE(Becomes(forwarding_.serverB, SocketState::Connected));
    peer.Send("GET");
    QCoreApplication::processEvents();
    shutdown(static_cast<int>(peer.Socket().socketDescriptor()), SHUT_WR);
    for (int packets = 1; packets <= 3; ++packets) {
        const qsizetype size = Feed(1000).size();
        ASSERT_TRUE(SpinUntil([&] { return peer.Received().size() == packets * size; })) << packets;
        clock_.AdvanceSeconds(1);
    }
    FarEnd next(portB_);
    ASSERT_TRUE(SpinUntil([&] { return peer.IsGone(); }));
    const QByteArray sent = Feed(1001);
    EXPECT_TRUE(SpinUntil([&] { return next.Received() == sent; }));
}

TEST_F(TcpForwardingTest, NetMeteringMakesTheLineLonger) {
    Set(u"ServerEnable"_s, u"True"_s);
    Set(u"NETmeter"_s, u"True"_s);
    FarEnd peer(portListening_);
    ASSERT_TRUE(Becomes(forwarding_.listeningServer, SocketState::Connected));
    Feed(1000);
    ASSERT_TRUE(SpinUntil([&] { return peer.Received().contains("&DevSN=301234&Time="); }));
}

TEST_F(TcpForwardingTest, ASocketInTheErrorStateHoldsThePacketsAsLongAsItsPathSays) {
    for (const DataLine& line : CasesOf("ASocketInTheErrorState")) {
        SCOPED_TRACE(line);
        QFile::remove(errorLog_.Path());
        Set(u"HAbinaryData"_s, line.Column(0) == u"packet" ? u"True"_s : u"False"_s);
        QTcpServer holder;
        ASSERT_TRUE(holder.listen(QHostAddress::Any, portB_));
        clock_.AdvanceSeconds((60 + line.Column(1).toInt() - clock_.Now().second) % 60);
        Set(u"HAServerEnable"_s, u"True"_s);
        ASSERT_EQ(forwarding_.serverB.State(), SocketState::Error);
        if (line.Column(2) == u"free") holder.close();

        const std::uint64_t before = framer_.GoodPackets();
        const auto seconds = static_cast<std::uint32_t>(1000 + clock_.Monotonic() / 1000);
        Feed(seconds);
        Feed(seconds + 1);
        int held = 0;
        for (; framer_.GoodPackets() < before + 2 && held < 60'000; held += 50) {
            if (line.Column(2) == u"off" && held == 1000) Set(u"HAServerEnable"_s, u"False"_s);
            EXPECT_NE(A().seconds, std::optional(static_cast<std::int32_t>(seconds + 1)));
            clock_.Advance(50);
        }
        EXPECT_EQ(held, line.Number(3));
        EXPECT_EQ(A().seconds, std::optional(static_cast<std::int32_t>(seconds + 1)));
        const QStringList log = errorLog_.Load().lines;
        EXPECT_EQ(log.join(u'\n').section(u'\t', 1, 1).toStdString(), line.Word(4));

        if (line.Column(2) == u"off") continue;

        // Whatever became of it, the port is tried again and holds up no further packet.
        for (std::uint64_t further = 3; further < 5; ++further) {
            Feed(seconds + 2);
            EXPECT_EQ(framer_.GoodPackets(), before + further);
            EXPECT_FALSE(clock_.SomeoneWaits());
            clock_.AdvanceSeconds(5);
        }
        holder.close();
        clock_.AdvanceSeconds(10);
        EXPECT_EQ(forwarding_.serverB.State(), SocketState::Listening);
        Set(u"HAServerEnable"_s, u"False"_s);
    }
}

TEST_F(TcpForwardingTest, APeerThatComesDuringTheWaitGetsThePacketOnlyWhereTheWaitEndsByTheState) {
    Set(u"HAbinaryData"_s, u"True"_s);
    for (const auto& [second, held, sent] : {std::tuple(30, 8, false), std::tuple(55, 20, true)}) {
        QTcpServer holder;
        ASSERT_TRUE(holder.listen(QHostAddress::Any, portB_));
        clock_.AdvanceSeconds((60 + second - clock_.Now().second) % 60);
        Set(u"HAServerEnable"_s, u"True"_s);
        holder.close();
        const QByteArray first = Feed(1000);
        FarEnd peer(portB_);
        ASSERT_TRUE(Becomes(forwarding_.serverB, SocketState::Connected));
        clock_.AdvanceSeconds(held);
        const QByteArray next = Feed(1001);
        const QByteArray expected = sent ? first + next : next;
        ASSERT_TRUE(SpinUntil([&] { return peer.Received().size() >= expected.size(); }));
        EXPECT_EQ(peer.Received(), expected);
        EXPECT_EQ(LogText().find("TCP state = 7") != std::string::npos, !sent);
        QFile::remove(errorLog_.Path());
        Set(u"HAServerEnable"_s, u"False"_s);
    }
}

TEST_F(TcpForwardingTest, APeerThatDoesNotReadIsCutOffAndOneThatWritesIsNotHeardOut) {
    Set(u"HAServerEnable"_s, u"True"_s);
    Set(u"HAbinaryData"_s, u"True"_s);
    FarEnd writer(portB_);
    ASSERT_TRUE(Becomes(forwarding_.serverB, SocketState::Connected));
    // Without a tick of the clock one read buffer is taken, besides what the system keeps for both ends.
    const QByteArray flood(32 << 20, 'x');
    writer.Send(flood);
    const QDeadlineTimer enough(200);
    ASSERT_TRUE(SpinUntil([&] { return enough.hasExpired(); }));
    EXPECT_GT(writer.Socket().bytesToWrite(), 1 << 20);
    EXPECT_EQ(forwarding_.serverB.State(), SocketState::Connected);
    writer.Socket().abort();
    ASSERT_TRUE(ListensAfterPackets(forwarding_.serverB));

    FarEnd silent(portB_);
    silent.Socket().setReadBufferSize(1);
    ASSERT_TRUE(Becomes(forwarding_.serverB, SocketState::Connected));
    qint64 fed = 0;
    for (std::uint32_t i = 0; forwarding_.serverB.State() == SocketState::Connected && fed < 64 << 20; ++i) {
        fed += Feed(i).size();
        if (i % 1000 == 0) QCoreApplication::processEvents();
    }
    EXPECT_EQ(forwarding_.serverB.State(), SocketState::Listening);
    EXPECT_NE(LogText().find("does not read what is sent to it"), std::string::npos);
    EXPECT_TRUE(board_.Lines().back().contains("does not read what is sent to it"_L1));
}

TEST_F(TcpForwardingTest, ThousandsOfConnectsLeaveNothingBehind) {
    Set(u"HAServerEnable"_s, u"True"_s);
    const auto open = [] {
        return QDir(u"/proc/self/fd"_s).entryList(QDir::System | QDir::AllEntries).size();
    };
    const auto descriptors = open();
    std::size_t memory = 0;
    for (int i = 0; i < 2000; ++i) {
        FarEnd peer(portB_);
        if (i % 2 == 0) peer.Socket().abort();
        QCoreApplication::processEvents();
        if (i == 1000) memory = mallinfo2().uordblks;
    }
    Set(u"HAbinaryData"_s, u"True"_s);
    ASSERT_TRUE(ListensAfterPackets(forwarding_.serverB));
    EXPECT_EQ(open(), descriptors);
    EXPECT_LT(mallinfo2().uordblks, memory + (std::size_t{64} << 10));
}

TEST_F(TcpForwardingTest, EntriesAreCheckedAndLatchesKept) {
    ExpectChecks("ForwardingEntries", settings_);
    EXPECT_EQ(settings_.Value(kListeningPort), u"65000"_s);

    Set(u"HAserverPort"_s, QString::number(portB_));
    Set(u"HAServerEnable"_s, u"True"_s);
    forwarding_.serverB.Stop();
    EXPECT_TRUE(settings_.IsOn(kServerBLatch));
    EXPECT_EQ(forwarding_.serverB.Notice(), u"Disconnected"_s);
    forwarding_.serverB.StartUp();
    clock_.AdvanceSeconds(20);
    EXPECT_EQ(forwarding_.serverB.State(), SocketState::Closed);
    forwarding_.serverB.Listen();
    EXPECT_FALSE(settings_.IsOn(kServerBLatch));
    EXPECT_EQ(forwarding_.serverB.State(), SocketState::Listening);
    EXPECT_EQ(forwarding_.listeningServer.State(), SocketState::Closed);  // is not enabled
    forwarding_.serverB.Close();
    Set(u"HAbinaryData"_s, u"True"_s);
    EXPECT_EQ(forwarding_.serverB.State(), SocketState::Closed) << "only a change of its own switch opens it";

    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any, portB_));
    forwarding_.serverB.Listen();
    EXPECT_EQ(forwarding_.serverB.State(), SocketState::Error);
    holder.close();
    clock_.AdvanceSeconds(10);
    EXPECT_EQ(forwarding_.serverB.State(), SocketState::Listening);
}

TEST_F(TcpForwardingTest, AServerThatIsStoppedWhileItWaitsForItsPortStaysClosed) {
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any, portB_));
    Set(u"HAServerEnable"_s, u"True"_s);
    clock_.AdvanceSeconds(6);
    EXPECT_EQ(forwarding_.serverB.Standing(), OutputState::Backoff);
    EXPECT_EQ(board_.Lines().size(), 1U);  // the port is tried again and again, and said once
    forwarding_.serverB.Stop();
    EXPECT_EQ(forwarding_.serverB.Standing(), OutputState::Off);
    holder.close();
    clock_.AdvanceSeconds(10);
    EXPECT_EQ(forwarding_.serverB.State(), SocketState::Closed);
}

TEST_F(TcpForwardingTest, AClientThatIsSwitchedOffWhileItWaitsForItsPeerStaysOff) {
    Set(u"ClientTCPip"_s, u"127.0.0.1"_s);
    Set(u"ClientPort"_s, QString::number(FreePort()));
    Set(u"ClientEnable"_s, u"True"_s);
    ASSERT_TRUE(SpinUntil([this] { return forwarding_.client.Standing() == OutputState::Backoff; }));
    EXPECT_EQ(forwarding_.client.Notice(), u"Reconnecting in 5 sec."_s);
    Set(u"ClientEnable"_s, u"False"_s);
    clock_.AdvanceSeconds(10);
    EXPECT_EQ(forwarding_.client.State(), SocketState::Closed);
    EXPECT_EQ(forwarding_.client.Standing(), OutputState::Off);
}

}  // namespace
}  // namespace corvane
