#include "link/port_finder.h"

#include <QFile>

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "base/status_board.h"
#include "link/serial_link.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"
#include "support/pty.h"
#include "support/received_packets.h"
#include "support/settings_by_key.h"
#include "support/temp_folder.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

/// A machine with the ports that a test gives it.
class FakePorts final : public SerialPorts {
public:
    PortState TestPort(const QString& path) override {
        tried.push_back(path);
        return states.contains(path) ? states[path] : PortState::Missing;
    }
    QString Product(const QString& path) override { return u"Product of "_s + path; }

    std::map<QString, PortState> states;
    std::vector<QString> tried;
};

class PortFinder : public testing::Test {
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

    TempFolder folder_;
    FakeClock clock_;
    SettingsStore settings_{folder_.Path(u"settings.ini"_s)};
};

TEST_F(PortFinder, TriesAllPortsInAscendingOrderAndGivesThoseThatAreThere) {
    std::vector<QString> expected;
    expected.reserve(kComPorts);
    for (int i = 0; i < 32; ++i)
        expected.push_back(u"/dev/ttyS%1"_s.arg(i));
    for (int i = 0; i < 16; ++i)
        expected.push_back(u"/dev/ttyUSB%1"_s.arg(i));
    for (int i = 0; i < 16; ++i)
        expected.push_back(u"/dev/ttyACM%1"_s.arg(i));
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
    NotedPackets receiver;
    Framer framer(receiver);
    StatusBoard board;
    ErrorLog errorLog(folder_.Path(), u"Test"_s, clock_);
    SystemSerialPorts system;
    SerialLink link(SerialLink::kA, system, framer, settings_, board, errorLog, clock_);
    const Pty line;
    KeepByKey(settings_, u"ComDevice5"_s, line.Path());
    KeepByKey(settings_, u"ComPortA"_s, u"5"_s);
    auto opening = link.OpenCOM();
    clock_.Advance(500);
    ASSERT_TRUE(link.IsOpen());

    // The same device under a second number, by a symbolic link.
    ASSERT_TRUE(QFile::link(line.Path(), folder_.Path(u"monitor"_s)));
    KeepByKey(settings_, u"ComDevice6"_s, folder_.Path(u"monitor"_s));
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
