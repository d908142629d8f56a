// Monitor commands over real links: a loopback connection and a pseudo terminal, with a clock that the test
// steps.
#include "control/control_fixture.h"
#include "link/serial_link.h"
#include "link/serial_ports.h"
#include "link/tcp_link.h"
#include "sim/packet_sender.h"
#include "sim/pty_line.h"
#include "sim/tcp_line.h"
#include "support/loopback.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

class RealLinks : public ControlTest {
protected:
    /// The error text of an operation, "" where it succeeded. The clock is stepped no faster than the lines
    /// deliver.
    std::string Run(QCoro::Task<Outcome> operation) {
        std::optional<std::string> ended;
        auto noted = operation.then([&](const Outcome& outcome) { ended = outcome.Error().toStdString(); });
        const bool inTime = SpinUntil([&] {
            clock_.Advance(10);
            return ended.has_value();
        });
        return inTime ? *ended : "it did not end";
    }

    /// Joins a monitor to the line and has it set, read and set back.
    void Converse(Line& line) {
        SimulatedMonitor monitor({.serial = {.unitId = 3, .number = 1234}});
        const CommandListener listener(monitor, line, clock_);
        SendPackets(monitor, line, clock_, {});
        const auto set = [this](const QString& type) {
            return Run(monitorSettings_.Set(u"ct1"_s, {type, u"5"_s}, op_));
        };
        EXPECT_EQ(Run(commands_.StopRealtime(op_)), "");
        EXPECT_EQ(set(u"17"_s), "");
        EXPECT_EQ(listener.Settings().Raw(MonitorSetting::Ct1Type), 17);
        EXPECT_EQ(monitorSettings_.Last()->bytes, listener.Settings().bytes);
        EXPECT_EQ(Run(commands_.StartRealtime(op_)), "");
        clock_.AdvanceSeconds(8);
        EXPECT_TRUE(SpinUntil([this] { return packets_.packets.size() >= 2; }));
        EXPECT_EQ(packets_.packets.back().second, 1234);
        EXPECT_EQ(listener.LostBytes(), 0);
        clock_.EndWaits();
    }

    SystemSerialPorts ports_;
    TcpLink gateway_{TcpLink::kB, framer_, settings_, board_, errorLog_, clock_};
    SerialLink port_{SerialLink::kC, ports_, framer_, settings_, board_, errorLog_, clock_};
    MonitorCommands commands_{{&tcpA_, &serialA_, &gateway_, &serialB_, &port_},
                              framer_,
                              slots_,
                              heard_,
                              settings_,
                              board_,
                              errorLog_,
                              clock_};
    MonitorSettings monitorSettings_{commands_, slots_, history_, errorLog_, clock_};
};

TEST_F(RealLinks, AMonitorBehindAGateway) {
    KeepByKey(settings_, u"CmdDevice"_s, u"2"_s);
    KeepByKey(settings_, u"TcpPortB"_s, QString::number(FreePort()));
    gateway_.StartUp();
    TcpLine line(clock_);
    line.KeepConnected(u"localhost"_s, gateway_.LocalPort());
    ASSERT_TRUE(SpinUntil([&] { return gateway_.State() == SocketState::Connected; }));
    Converse(line);
}

TEST_F(RealLinks, AMonitorOnASerialLine) {
    KeepByKey(settings_, u"CmdDevice"_s, u"4"_s);
    PtyLine line;
    ASSERT_TRUE(line.Open(folder_.Path(u"monitor"_s)));
    KeepByKey(settings_, u"ComDevice7"_s, folder_.Path(u"monitor"_s));
    KeepByKey(settings_, u"ComPortC"_s, u"7"_s);
    EXPECT_EQ(Run(port_.OpenCOM()), "");
    Converse(line);
}

}  // namespace
}  // namespace corvane
