#include "link/serial_ports.h"

#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "support/pty.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr uid_t kNobody = 65534;

/// While it lives, this process has no more rights than any user.
class WithoutRights {
public:
    WithoutRights() { EXPECT_TRUE(!root_ || seteuid(kNobody) == 0); }
    ~WithoutRights() { EXPECT_TRUE(!root_ || seteuid(0) == 0); }
    WithoutRights(const WithoutRights&) = delete;
    WithoutRights& operator=(const WithoutRights&) = delete;

private:
    const bool root_ = geteuid() == 0;
};

/// The port of a line as another program has it open.
class OpenedByOthers {
public:
    explicit OpenedByOthers(const Pty& line)
        : descriptor_(open(line.Path().toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK)) {
        EXPECT_GE(descriptor_, 0);
    }
    ~OpenedByOthers() { close(descriptor_); }
    OpenedByOthers(const OpenedByOthers&) = delete;
    OpenedByOthers& operator=(const OpenedByOthers&) = delete;

    [[nodiscard]] int Descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

TEST(SystemSerialPorts, TellsFreePortsFromThoseThatCannotBeOpened) {
    SystemSerialPorts ports;
    const Pty line;
    EXPECT_EQ(ports.TestPort(line.Path()), PortState::Free);
    EXPECT_EQ(ports.TestPort(line.Path()), PortState::Free);  // it was closed again
    EXPECT_EQ(ports.TestPort(u"/dev/no-such-port"_s), PortState::Missing);
    // A node without a serial line behind it, as the many of UARTs that a machine does not have.
    EXPECT_EQ(ports.TestPort(u"/dev/null"_s), PortState::Missing);
}

TEST(SystemSerialPorts, SeesThatAnotherProgramHasThePort) {
    SystemSerialPorts ports;
    const Pty line;
    {
        const OpenedByOthers other(line);
        ASSERT_EQ(ioctl(other.Descriptor(), TIOCEXCL), 0);
        EXPECT_EQ(ports.TestPort(line.Path()), PortState::Busy);
        ASSERT_EQ(chmod(line.Path().toLocal8Bit().constData(), 0666), 0);
        const WithoutRights user;
        EXPECT_EQ(ports.TestPort(line.Path()), PortState::Busy);
        ASSERT_EQ(ioctl(other.Descriptor(), TIOCNXCL), 0);
    }
    {
        const OpenedByOthers other(line);
        ASSERT_EQ(flock(other.Descriptor(), LOCK_EX | LOCK_NB), 0);
        EXPECT_EQ(ports.TestPort(line.Path()), PortState::Busy);
    }
    EXPECT_EQ(ports.TestPort(line.Path()), PortState::Free);
}

TEST(SystemSerialPorts, DisturbsNobodyWhoHasThePortOpen) {
    SystemSerialPorts ports;
    Pty line;
    const OpenedByOthers other(line);
    termios before = line.Settings();
    ASSERT_EQ(cfsetspeed(&before, B1200), 0);
    before.c_lflag |= ECHO;
    ASSERT_EQ(tcsetattr(other.Descriptor(), TCSANOW, &before), 0);
    line.Send("waiting");
    EXPECT_EQ(ports.TestPort(line.Path()), PortState::Free);
    const termios after = line.Settings();
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(cfgetospeed(&after), speed_t{B1200});
    char bytes[16];
    EXPECT_EQ(read(other.Descriptor(), bytes, sizeof bytes), 7);
}

TEST(SystemSerialPorts, NamesTheGroupThatMayOpenAPort) {
    SystemSerialPorts ports;
    const Pty line;
    const QByteArray path = line.Path().toLocal8Bit();
    // The rights of its owner come before those of its group: who owns it has none here.
    const bool owned = geteuid() != 0 || chown(path.constData(), kNobody, static_cast<gid_t>(-1)) == 0;
    ASSERT_TRUE(owned);
    const struct {
        mode_t mode;
        QString text;
    } cases[] = {
        {0060,
         u"belongs to the group %1: add yourself to the group %1: sudo usermod -aG %1 $USER, "
         "then log in again"_s.arg(QFileInfo(line.Path()).group())},
        {0000, u"is not open to this user"_s},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(chmod(path.constData(), c.mode), 0);
        const WithoutRights user;
        EXPECT_EQ(ports.TestPort(line.Path()), PortState::Denied);
        EXPECT_EQ(PortStateText(PortState::Denied, line.Path()), c.text);
    }
}

}  // namespace
}  // namespace corvane
