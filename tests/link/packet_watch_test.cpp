#include "link/packet_watch.h"

#include "link/link_fixture.h"
#include "link/tcp_link.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class PacketWatchTest : public SerialLinkTest {
protected:
    /// Has `bytes` come once a second.
    void Bring(auto& link, auto& far, const QByteArray& bytes, int times = 1) {
        for (int second = 0; second < times; ++second) {
            far.Send(bytes);
            ASSERT_TRUE(SpinUntil([&link] { return link.TakeActivity(); }));
            clock_.AdvanceSeconds(1);
        }
    }

    /// That it is told on the link, which has just been opened, and told no more once a packet has come.
    void ExpectTold(auto& link, auto& far, const QString& reason) {
        (void)TakeLines();
        const auto logged = errorLog_.Load().lines.size();
        Bring(link, far, "x", 30);
        EXPECT_EQ(link.Status().notice, u""_s);
        Bring(link, far, "x", 40);
        EXPECT_EQ(link.Status().notice, reason);
        EXPECT_EQ(TakeLines(), Lines{(u"     "_s + link.Name() + u": "_s + reason).toStdString()});
        EXPECT_EQ(errorLog_.Load().lines.size(), logged + 1);
        Bring(link, far, PacketBytes(5));
        EXPECT_EQ(link.Status().notice, u""_s);
        Bring(link, far, "x", 40);  // from a monitor that was understood
        EXPECT_EQ(link.Status().notice, u""_s);
        EXPECT_EQ(TakeLines(), Lines());
    }
};

TEST_F(PacketWatchTest, ASerialPortAtTheWrongRateIsToldOnceForEachOpening) {
    const QString reason =
        u"Bytes come, but no packet: likely the baud rate is not that of the monitor, or its packets have "
        u"another "
        "format."_s;
    Pty line;
    SerialLink& link = MakeA(line.Path());
    for (int opening = 0; opening < 2; ++opening) {
        ASSERT_EQ(Open(link), "");
        ExpectTold(link, line, reason);
    }
    ASSERT_EQ(Open(link), "");
    Bring(link, line, "x", 40);
    link.CloseCOM();
    EXPECT_EQ(link.Notice(), u""_s);

    // A monitor that sends once a minute: the end of a packet, then one in two parts.
    ASSERT_EQ(Open(link), "");
    (void)TakeLines();
    Bring(link, line, PacketBytes(6).last(30));
    clock_.AdvanceSeconds(59);
    Bring(link, line, PacketBytes(6).first(30));
    Bring(link, line, PacketBytes(6).last(35));
    clock_.AdvanceSeconds(120);
    EXPECT_EQ(TakeLines(), Lines());
}

TEST_F(PacketWatchTest, AGatewayWithoutPacketsIsToldButNotWhatComesWhileACommandRuns) {
    TcpLink link(TcpLink::kA, framer_, settings_, board_, errorLog_, clock_);
    const std::uint16_t port = FreePort();
    settings_.Save(kTcpPortA, int{port});
    link.StartUp();
    for (int connection = 0; connection < 2; ++connection) {
        FarEnd gateway(port);
        ASSERT_TRUE(SpinUntil([&link] { return link.State() == SocketState::Connected; }));
        framer_.SetPacketHold(kStreamTcpA, true);
        Bring(link, gateway, "x", 40);
        framer_.SetPacketHold(kStreamTcpA, false);
        ExpectTold(
            link, gateway,
            u"Bytes come, but no packet: likely the baud rate of the gateway is not that of the monitor, or "
            "its packets have another format."_s);
        gateway.Close();
        ASSERT_TRUE(SpinUntil([&link] { return link.State() == SocketState::Closed; }));
        clock_.AdvanceSeconds(5);
    }
}

}  // namespace
}  // namespace corvane
