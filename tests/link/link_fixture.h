// Connections and what they report to, and serial ones over ptys, on a clock that the test steps.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/status_board.h"
#include "link/framer.h"
#include "link/serial_link.h"
#include "link/serial_ports.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"
#include "support/pty.h"
#include "support/received_packets.h"
#include "support/settings_by_key.h"
#include "support/temp_folder.h"

namespace corvane {

using Lines = std::vector<std::string>;

inline const std::string kOpenA = "     Serial Connection A Port # 33 is now open.";
inline const std::string kClosedA = "     Serial Port A Port is Closed.";

class LinkTest : public testing::Test {
protected:
    LinkTest() {
        QObject::connect(&board_, &StatusBoard::LineAdded,
                         [this](const QString& line) { lines_.push_back(line.toStdString()); });
    }

    /// Whether these packets come, and no others.
    [[nodiscard]] bool Comes(const Packets& packets) {
        return SpinUntil([&] { return receiver_.packets.size() >= packets.size(); }) &&
               receiver_.packets == packets;
    }

    /// The lines of the status board since this was last asked.
    [[nodiscard]] Lines TakeLines() { return std::exchange(lines_, {}); }

    TempFolder folder_;
    FakeClock clock_;
    SettingsStore settings_{folder_.Path(QStringLiteral("settings.ini"))};
    ErrorLog errorLog_{folder_.Path(), QStringLiteral("Test"), clock_};
    StatusBoard board_;
    NotedPackets receiver_;
    Framer framer_{receiver_};
    Lines lines_;
};

/// A machine with the ports that a test gives it.
class FakePorts final : public SerialPorts {
public:
    PortState TestPort(const QString& path) override {
        tried.push_back(path);
        return states.contains(path) ? states[path] : PortState::Missing;
    }
    QString Product(const QString& path) override { return QStringLiteral("Product of ") + path; }

    std::map<QString, PortState> states;
    std::vector<QString> tried;
};

class SerialLinkTest : public LinkTest {
protected:
    ~SerialLinkTest() override { clock_.EndWaits(); }  // while the links that wait are still there

    SerialLink& Make(const SerialLink::Identity& identity) {
        links_.push_back(
            std::make_unique<SerialLink>(identity, ports_, framer_, settings_, board_, errorLog_, clock_));
        return *links_.back();
    }

    /// A link that has COM port 33 chosen, which is `path`.
    SerialLink& MakeA(const QString& path) {
        KeepByKey(settings_, QStringLiteral("ComDevice33"), path);
        KeepByKey(settings_, QStringLiteral("ComPortA"), QStringLiteral("33"));
        return Make(SerialLink::kA);
    }

    /// What `OpenCOM` answers once the line has settled, "" where it succeeded.
    std::string Open(SerialLink& link) {
        std::optional<std::string> answer;
        auto opening = link.OpenCOM().then(
            [&answer](const Outcome& outcome) { answer = outcome.Error().toStdString(); });
        if (!answer.has_value()) clock_.Advance(500);
        return answer.value_or("no answer after 500 ms");
    }

    SystemSerialPorts ports_;
    std::vector<std::unique_ptr<SerialLink>> links_;
};

}  // namespace corvane
