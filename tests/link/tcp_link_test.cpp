#include "link/tcp_link.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "link/link_fixture.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

const Lines kConnected = {"         Connected"};
const Lines kFirstData = {"     Connected to Ethernet Gateway."};

const Lines kClosedA = {"TCP Server Closing", "      TCP Server A Closing", "      TCP Server A Closed"};
const Lines kClosedB = {"TCP Server Closing", "      TCP Server B Closing", "      TCP Server B Closed"};

class TcpLinkTest : public LinkTest {
protected:
    /// The link on a free port, not begun yet.
    std::unique_ptr<TcpLink> Make(const TcpLink::Identity& identity) {
        auto link = std::make_unique<TcpLink>(identity, framer_, settings_, board_, errorLog_, clock_);
        port_ = FreePort();
        settings_.Save(identity.port, int{port_});
        return link;
    }

    [[nodiscard]] static bool Becomes(TcpLink& link, SocketState state) {
        return SpinUntil([&link, state] { return link.State() == state; });
    }
    [[nodiscard]] static bool GetsData(TcpLink& link) {
        return SpinUntil([&link] { return link.TakeActivity(); });
    }

    /// What the screen shows of the link: the button, the state, and the text beside them.
    static void ExpectShown(const TcpLink& link, const QString& caption, const QString& state,
                            const QString& notice = u""_s) {
        EXPECT_EQ(link.Caption(), caption);
        EXPECT_EQ(link.WinsockStateDisplay(), state);
        EXPECT_EQ(link.Notice(), notice);
    }

    std::uint16_t port_ = 0;
};

TEST_F(TcpLinkTest, TellsWhatHappensFromListenToThePeersCloseAndListensAgain) {
    const auto link = Make(TcpLink::kA);
    KeepByKey(settings_, u"TcpModeA"_s, u"client"_s);  // A listens whatever the mode says
    ExpectShown(*link, u"Listen"_s, u"Socket Closed"_s);
    link->StartUp();
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        ExpectShown(*link, u"Stop Listening"_s, u"Listening"_s);
        FarEnd gateway(port_);
        ASSERT_TRUE(Becomes(*link, SocketState::Connected));
        ExpectShown(*link, u"Connected"_s, u"Connected"_s);
        EXPECT_EQ(TakeLines(), kConnected);
        EXPECT_FALSE(link->TakeActivity());
        for (const Lines& said : {kFirstData, Lines()}) {
            gateway.Send("x");
            ASSERT_TRUE(GetsData(*link));
            EXPECT_EQ(TakeLines(), said);
        }
        gateway.Close();
        ASSERT_TRUE(Becomes(*link, SocketState::Closed));
        EXPECT_EQ(TakeLines(), kClosedA);
        for (int seconds = 5; seconds > 0; --seconds) {
            ExpectShown(*link, u"Listen"_s, u"Socket Closed"_s, u"Reconnecting in %1 sec."_s.arg(seconds));
            clock_.AdvanceSeconds(1);
        }
    }
    EXPECT_EQ(link->State(), SocketState::Listening);
}

TEST_F(TcpLinkTest, EachFeedsItsOwnStreamAndNothingWhileThatIsHeld) {
    const auto a = Make(TcpLink::kA);
    const std::uint16_t portOfA = port_;
    const auto b = Make(TcpLink::kB);
    a->StartUp();
    b->StartUp();
    FarEnd gatewayA(portOfA);
    FarEnd gatewayB(port_);
    const QByteArray ofA = PacketBytes(11);
    const QByteArray ofB = PacketBytes(22);
    // A packet of B comes while one of A is half there: bytes on the wrong stream would spoil it.
    gatewayA.Send(ofA.first(30));
    ASSERT_TRUE(GetsData(*a));
    // A hold keeps even the bytes of an open packet from the framer; they count as activity all the same.
    framer_.SetPacketHold(kStreamTcpA, true);
    gatewayA.Send(QByteArray(100, 'x') + PacketBytes(8));
    ASSERT_TRUE(GetsData(*a));
    framer_.SetPacketHold(kStreamTcpA, false);
    gatewayB.Send(ofB);
    ASSERT_TRUE(Comes({{2, 22}}));
    gatewayA.Send(ofA.sliced(30));
    ASSERT_TRUE(Comes({{2, 22}, {0, 11}}));
}

TEST_F(TcpLinkTest, DisconnectLatchesStopsTheCountdownAndListenUnlatches) {
    KeepByKey(settings_, u"LatchDisconnectB"_s, true);  // not the latch of A
    auto link = Make(TcpLink::kA);
    link->StartUp();
    for (const bool countingDown : {false, true}) {
        FarEnd gateway(port_);
        ASSERT_TRUE(Becomes(*link, SocketState::Connected));
        if (countingDown) {
            gateway.Close();
            ASSERT_TRUE(Becomes(*link, SocketState::Closed));
            clock_.AdvanceSeconds(2);
        }
        link->Disconnect();
        EXPECT_TRUE(SpinUntil([&gateway] { return gateway.IsGone(); }));
        clock_.AdvanceSeconds(60);
        ExpectShown(*link, u"Listen"_s, u"Socket Closed"_s, u"Disconnected"_s);
        // The next run of the program finds it latched.
        link = std::make_unique<TcpLink>(TcpLink::kA, framer_, settings_, board_, errorLog_, clock_);
        link->StartUp();
        clock_.AdvanceSeconds(60);
        ExpectShown(*link, u"Listen"_s, u"Socket Closed"_s, u"Disconnected"_s);
        EXPECT_EQ(KeptByKey(settings_, u"LatchDisconnectA"_s), u"True"_s);
        link->Listen();
        ExpectShown(*link, u"Stop Listening"_s, u"Listening"_s);
        EXPECT_EQ(link->LocalPort(), port_);
        EXPECT_EQ(KeptByKey(settings_, u"LatchDisconnectA"_s), u"False"_s);
    }
}

TEST_F(TcpLinkTest, APortHeldByOthersIsSaidOnceAndTriedAgainUntilItIsFree) {
    const auto link = Make(TcpLink::kA);
    QTcpServer holder;
    ASSERT_TRUE(holder.listen(QHostAddress::Any, port_));
    link->StartUp();
    for (int second = 0; second < 12; ++second) {
        ExpectShown(*link, u"Listen"_s, u"Socket Error"_s, u"Wait 4 Minutes to Release Port"_s);
        clock_.AdvanceSeconds(1);
    }
    ASSERT_EQ(lines_.size(), 1U);
    EXPECT_TRUE(lines_[0].starts_with("     TCP Server A: ")) << lines_[0];
    holder.close();
    clock_.AdvanceSeconds(5);
    ExpectShown(*link, u"Stop Listening"_s, u"Listening"_s);
}

TEST_F(TcpLinkTest, ASecondGatewayIsRefusedWhileTheFirstSendsAndReplacesASilentOne) {
    const auto link = Make(TcpLink::kA);
    link->StartUp();
    FarEnd first(port_);
    ASSERT_TRUE(Becomes(*link, SocketState::Connected));
    clock_.AdvanceSeconds(20);
    first.Send("a");  // from here on the silence counts
    ASSERT_TRUE(GetsData(*link));
    clock_.Advance(29'999);
    (void)TakeLines();

    FarEnd refused(port_);
    ASSERT_TRUE(SpinUntil([&refused] { return refused.IsGone(); }));
    EXPECT_EQ(TakeLines(), Lines());
    EXPECT_EQ(link->State(), SocketState::Connected);
    EXPECT_FALSE(first.IsGone());

    clock_.Advance(1);
    FarEnd next(port_);
    ASSERT_TRUE(SpinUntil([&first] { return first.IsGone(); }));
    EXPECT_EQ(link->State(), SocketState::Connected);
    next.Send(PacketBytes(9));
    ASSERT_TRUE(Comes({{0, 9}}));
    Lines expected = kClosedA;
    expected.insert(expected.end(), kConnected.begin(), kConnected.end());
    expected.insert(expected.end(), kFirstData.begin(), kFirstData.end());
    EXPECT_EQ(TakeLines(), expected);
    ASSERT_TRUE(link->SendText("TOG"));
    EXPECT_TRUE(SpinUntil([&next] { return next.Received() == "TOG"; }));
    clock_.AdvanceSeconds(20);
    EXPECT_EQ(link->State(), SocketState::Connected);  // no countdown was left behind
}

TEST_F(TcpLinkTest, BConnectsOutAndAgainAfterAFailureOrThePeersClose) {
    KeepByKey(settings_, u"TcpModeB"_s, u"client"_s);
    const auto link = Make(TcpLink::kB);
    link->StartUp();
    EXPECT_FALSE(link->SendText("too early"));
    for (int attempt = 0; attempt < 2; ++attempt) {
        ASSERT_TRUE(Becomes(*link, SocketState::Error));
        EXPECT_EQ(link->Notice(), u"Reconnecting in 5 sec."_s);
        clock_.AdvanceSeconds(attempt == 0 ? 5 : 4);
    }
    EXPECT_EQ(TakeLines().size(), 1U) << "said once";
    QTcpServer gateway;
    ASSERT_TRUE(gateway.listen(QHostAddress::LocalHost, port_));
    clock_.AdvanceSeconds(1);
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        ASSERT_TRUE(SpinUntil([&gateway] { return gateway.hasPendingConnections(); }));
        QTcpSocket& accepted = *gateway.nextPendingConnection();
        ASSERT_TRUE(Becomes(*link, SocketState::Connected));
        EXPECT_EQ(TakeLines(), kConnected);
        receiver_.packets.clear();
        accepted.write(PacketBytes(5));
        ASSERT_TRUE(Comes({{2, 5}}));
        EXPECT_EQ(TakeLines(), kFirstData);
        clock_.AdvanceSeconds(60);  // the time allowed for connecting is no limit to the connection
        EXPECT_EQ(link->State(), SocketState::Connected);
        accepted.close();
        ASSERT_TRUE(Becomes(*link, SocketState::Closed));
        EXPECT_EQ(TakeLines(), kClosedB);
        clock_.AdvanceSeconds(5);
        EXPECT_NE(link->State(), SocketState::Closed);
    }
}

TEST_F(TcpLinkTest, AGatewayThatDoesNotReadIsClosedLoggedAndListenedForAgain) {
    const auto link = Make(TcpLink::kA);
    link->StartUp();
    FarEnd gateway(port_);
    ASSERT_TRUE(Becomes(*link, SocketState::Connected));
    EXPECT_TRUE(link->SendText(QByteArray(TcpSocket::kMostUnsent, 'x')));
    EXPECT_FALSE(link->SendText("x"));
    EXPECT_EQ(link->State(), SocketState::Closed);
    const QStringList log = errorLog_.Load().lines;
    ASSERT_EQ(log.size(), 1);
    EXPECT_TRUE(log[0].contains(u"TCP Server A"_s)) << log[0].toStdString();
    EXPECT_TRUE(log[0].contains(u"127.0.0.1"_s)) << log[0].toStdString();
    clock_.AdvanceSeconds(5);
    EXPECT_EQ(link->State(), SocketState::Listening);
}

}  // namespace
}  // namespace corvane
