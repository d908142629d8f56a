#include "link/port_finder.h"

#include <QFile>

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "link/serial_link_fixture.h"

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
