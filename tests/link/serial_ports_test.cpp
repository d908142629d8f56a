#include "link/port_finder.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <optional>
#include <span>
#include <utility>
#include <vector>

#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include "link/link_fixture.h"

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

TEST(SystemSerialPorts, TellsFreePortsFromMissingOnesAndFromThoseThatAnotherProgramHas) {
    SystemSerialPorts ports;
    const Pty line;
    EXPECT_EQ(ports.TestPort(line.Path()), PortState::Free);
    EXPECT_EQ(ports.TestPort(u"/dev/no-such-port"_s), PortState::Missing);
    // A node without a serial line behind it, as the many of UARTs that a machine does not have.
    EXPECT_EQ(ports.TestPort(u"/dev/null"_s), PortState::Missing);
    {
        const Listener other(line.Path());
        ASSERT_EQ(ioctl(other.Descriptor(), TIOCEXCL), 0);
        EXPECT_EQ(ports.TestPort(line.Path()), PortState::Busy);
        ASSERT_EQ(chmod(line.Path().toLocal8Bit().constData(), 0666), 0);
        const WithoutRights user;
        EXPECT_EQ(ports.TestPort(line.Path()), PortState::Busy);
        ASSERT_EQ(ioctl(other.Descriptor(), TIOCNXCL), 0);
    }
    {
        const Listener other(line.Path());
        ASSERT_EQ(flock(other.Descriptor(), LOCK_EX | LOCK_NB), 0);
        EXPECT_EQ(ports.TestPort(line.Path()), PortState::Busy);
    }
    EXPECT_EQ(ports.TestPort(line.Path()), PortState::Free);
}

TEST(SystemSerialPorts, DisturbsNobodyWhoHasThePortOpen) {
    SystemSerialPorts ports;
    Pty line;
    Listener other(line.Path());
    termios before = line.Settings();
    ASSERT_EQ(cfsetspeed(&before, B1200), 0);
    before.c_lflag |= ECHO;
    ASSERT_EQ(tcsetattr(other.Descriptor(), TCSANOW, &before), 0);
    line.Send("waiting");
    EXPECT_EQ(ports.TestPort(line.Path()), PortState::Free);
    const termios after = line.Settings();
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(cfgetospeed(&after), speed_t{B1200});
    EXPECT_EQ(other.Read(16), "waiting");
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

class PortFinder : public SerialLinkTest {
protected:
    /// All that a search finds; in between one millisecond passes for each port.
    std::vector<FoundPort> Find(SerialPorts& ports, std::span<SerialLink* const> links = {}) {
        std::optional<std::vector<FoundPort>> found;
        auto search = FindPort(ports, settings_, links, clock_).then([&found](std::vector<FoundPort> all) {
            found = std::move(all);
        });
        clock_.Advance(kComPorts - 1);
        EXPECT_FALSE(found.has_value()) << "nothing else was handled between two of the ports";
        clock_.Advance(1);
        return found.value();
    }
};

TEST_F(PortFinder, TriesAllPortsInAscendingOrderAndGivesThoseThatAreThere) {
    std::vector<QString> expected;
    for (const auto& [family, count] : {std::pair("ttyS", 32), {"ttyUSB", 16}, {"ttyACM", 16}}) {
        for (int i = 0; i < count; ++i)
            expected.push_back(u"/dev/%1%2"_s.arg(QLatin1StringView(family)).arg(i));
    }
    expected[32] = u"/dev/serial/by-id/monitor"_s;
    KeepByKey(settings_, u"ComDevice33"_s, expected[32]);
    KeepByKey(settings_, u"ComDevice34"_s, u""_s);

    FakePorts ports;
    ports.states = {{expected[0], PortState::Free},
                    {expected[32], PortState::Busy},
                    {expected[33], PortState::Denied},
                    {expected[63], PortState::Free}};
    const auto found = Find(ports);
    EXPECT_EQ(ports.tried, expected);
    ASSERT_EQ(found.size(), 4U);
    const int numbers[] = {1, 33, 34, 64};
    for (std::size_t i = 0; i < found.size(); ++i) {
        const QString& path = expected[static_cast<std::size_t>(numbers[i] - 1)];
        EXPECT_EQ(found[i].number, numbers[i]);
        EXPECT_EQ(found[i].path, path);
        EXPECT_EQ(found[i].state, ports.states[path]);
        EXPECT_EQ(found[i].product, u"Product of "_s + path);
    }
}

TEST_F(PortFinder, LeavesThePortsOfOurOwnLinksAlone) {
    const Pty line;
    SerialLink& link = MakeA(line.Path());
    ASSERT_EQ(Open(link), "");

    // The same device under a second number, by a symbolic link.
    ASSERT_TRUE(QFile::link(line.Path(), folder_.Path(u"monitor"_s)));
    KeepByKey(settings_, u"ComDevice34"_s, folder_.Path(u"monitor"_s));
    FakePorts ports;
    SerialLink* const links[] = {&link};
    const auto found = Find(ports, links);
    EXPECT_EQ(ports.tried.size(), 62U);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].state, PortState::OwnLink);
    EXPECT_EQ(found[1].state, PortState::OwnLink);
}

}  // namespace
}  // namespace corvane
