// The sending loop out of a serial port, which is a terminal whose far end the test holds.
#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include "expected_packets.h"
#include "sim/packet_sender.h"
#include "sim/serial_port_line.h"
#include "sim/simulated_monitor.h"
#include "support/fake_clock.h"
#include "support/loopback.h"
#include "support/pty.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// Leaves a port as another program may have used it.
void Misuse(const QString& device) {
    const int port = open(QFile::encodeName(device).constData(), O_RDWR | O_NOCTTY);
    termios settings{};
    EXPECT_EQ(tcgetattr(port, &settings), 0);
    cfsetspeed(&settings, B1200);
    settings.c_cflag |= CSTOPB | CRTSCTS;
    settings.c_iflag |= IXON | IXOFF | ICRNL;
    settings.c_oflag |= OPOST | ONLCR;
    settings.c_lflag |= ICANON | ECHO;
    EXPECT_EQ(tcsetattr(port, TCSANOW, &settings), 0);
    close(port);
}

TEST(SerialPortLine, SetsThePortUp) {
    Pty pty;
    Misuse(pty.Path());
    SerialPortLine line;
    const Outcome opened = line.Open(pty.Path(), 38400);
    ASSERT_TRUE(opened) << qPrintable(opened.Error());
    const termios settings = pty.Settings();
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B38400});
    EXPECT_EQ(settings.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), tcflag_t{CS8});
    EXPECT_EQ(settings.c_iflag & (IXON | IXOFF | ICRNL), tcflag_t{0});
    EXPECT_EQ(settings.c_oflag & OPOST, tcflag_t{0});
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO), tcflag_t{0});
}

TEST(SerialPortLine, TakesNoMoreThanThePortDoesAndLosesNothing) {
    constexpr int kCount = 2000;  // several times what the system holds
    Pty pty;
    FakeClock clock;
    SimulatedMonitor monitor{{}};
    SerialPortLine line;
    ASSERT_TRUE(line.Open(pty.Path(), 19200));
    bool ended = false;
    const auto start = [&]() -> QCoro::Task<> {
        co_await SendPackets(monitor, line, clock, {.pause = 0.5, .count = kCount});
        ended = true;
    };
    start();
    std::int64_t most = 0;
    ASSERT_TRUE(SpinUntil([&, quiet = 0]() mutable {
        clock.Advance(1);
        most = std::max(most, line.Unsent());
        quiet = line.State() == LineState::Blocked ? quiet + 1 : 0;
        return quiet == 50;
    }));
    EXPECT_LE(most, SerialPortLine::kMostUnsent + 65);
    EXPECT_FALSE(ended);

    EXPECT_TRUE(SpinUntil([&] {
        clock.Advance(1);
        return pty.Received().size() >= kCount * 65 && ended;
    }));
    EXPECT_TRUE(pty.Received() == PacketsOf({}, kCount)) << pty.Received().size();
    clock.EndWaits();
}

TEST(SerialPortLine, ReadsWhatComesInAndAnswersNothing) {
    Pty pty;
    SerialPortLine line;
    ASSERT_TRUE(line.Open(pty.Path(), 19200));
    pty.Send(QByteArray(1 << 20, '\n'));  // fails where the port is not read
    EXPECT_EQ(pty.Received(), QByteArray());
}

TEST(SerialPortLine, SaysOnceThatThePortIsGone) {
    Pty pty;
    SerialPortLine line;
    ASSERT_TRUE(line.Open(pty.Path(), 19200));
    QStringList told;
    QObject::connect(&line, &SerialPortLine::Failed, [&told](const QString& text) { told << text; });
    pty.HangUp();
    int looks = 0;
    ASSERT_TRUE(SpinUntil([&] { return !told.isEmpty() && ++looks == 20; }));
    ASSERT_EQ(told.size(), 1);
    EXPECT_TRUE(told[0].startsWith(pty.Path() + u" is gone: "_s)) << qPrintable(told[0]);
}

}  // namespace
}  // namespace corvane
