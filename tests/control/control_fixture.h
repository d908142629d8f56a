// The monitor commands and what stands on it, with a simulated monitor on any of five links, on a clock that
// the test steps.
#pragma once

#include <QCoroTask>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/status_board.h"
#include "control/monitor_commands.h"
#include "control/monitor_history.h"
#include "control/monitor_settings.h"
#include "link/device_slots.h"
#include "measure/heard_monitors.h"
#include "measure/measurement.h"
#include "sim/command_listener.h"
#include "sim/simulated_monitor.h"
#include "store/capture_database.h"
#include "store/error_log.h"
#include "store/schema.h"
#include "store/settings_store.h"
#include "support/fake_clock.h"
#include "support/received_packets.h"
#include "support/scripted_operator.h"
#include "support/settings_by_key.h"
#include "support/temp_folder.h"
#include "support/wired_link.h"

namespace corvane {

class ControlTest : public testing::Test {
protected:
    ControlTest() { EXPECT_TRUE(CreateTables(path_)); }
    ~ControlTest() override { clock_.EndWaits(); }

    void Set(const char* key, const char* value, const QString& section = kStartupSection) {
        KeepByKey(settings_, QString::fromLatin1(key), QString::fromLatin1(value), section);
    }

    /// Puts a monitor at the far end of a link, in place of the one that was there.
    CommandListener& Join(WiredLink& link, MonitorFaults faults = {}) {
        listener_ = std::make_unique<CommandListener>(monitor_, link, clock_, faults);
        return *listener_;
    }

    /// The error text of an operation once it has ended, "" where it succeeded; a minute is allowed to pass.
    std::string Run(QCoro::Task<Outcome> operation) {
        std::optional<std::string> ended;
        auto noted = operation.then([&](const Outcome& outcome) { ended = outcome.Error().toStdString(); });
        for (int i = 0; i < 60'000 && !ended.has_value(); ++i)
            clock_.Advance(1);
        return ended.value_or("it did not end");
    }

    static void Arrive(WiredLink& link, const QByteArray& bytes) {
        link.Send(
            {reinterpret_cast<const std::uint8_t*>(bytes.data()), static_cast<std::size_t>(bytes.size())});
    }

    /// Whether what comes on the link goes to a command, and not to the framer.
    [[nodiscard]] bool IsHeld(int stream) const {
        return framer_.PacketHold(stream) && links_[static_cast<std::size_t>(stream)]->ReplyCapture();
    }

    /// Whether nothing of the link is kept from the framer.
    [[nodiscard]] bool IsFree(int stream) const {
        return !framer_.PacketHold(stream) && !links_[static_cast<std::size_t>(stream)]->ReplyCapture();
    }

    TempFolder folder_;
    FakeClock clock_;
    SettingsStore settings_{folder_.Path(QStringLiteral("settings.ini"))};
    ErrorLog errorLog_{folder_.Path(), QStringLiteral("Test"), clock_};
    StatusBoard board_;
    const std::string path_ = folder_.Path(QStringLiteral("capture.db3")).toStdString();
    CaptureDatabase database_{path_};
    DeviceSlots slots_{settings_, database_};
    NotedPackets packets_;
    Framer framer_{packets_};
    WiredLink tcpA_{framer_, kStreamTcpA, clock_};
    WiredLink serialA_{framer_, kStreamSerialA, clock_};
    WiredLink tcpB_{framer_, kStreamTcpB, clock_};
    WiredLink serialB_{framer_, kStreamSerialB, clock_};
    WiredLink serialC_{framer_, kStreamSerialC, clock_};
    const std::array<WiredLink*, kStreams> links_{&tcpA_, &serialA_, &tcpB_, &serialB_, &serialC_};
    Measurement measurement_{slots_, settings_, errorLog_, clock_};
    HeardMonitors heard_{slots_, measurement_, settings_};
    MonitorCommands commands_{{&tcpA_, &serialA_, &tcpB_, &serialB_, &serialC_},
                              framer_,
                              slots_,
                              heard_,
                              settings_,
                              board_,
                              errorLog_,
                              clock_};
    MonitorHistory history_{folder_.Path()};
    MonitorSettings monitorSettings_{commands_, slots_, history_, errorLog_, clock_};
    SimulatedMonitor monitor_{{.serial = {.unitId = 3, .number = 1234}}};
    std::unique_ptr<CommandListener> listener_;
    ScriptedOperator op_;
};

}  // namespace corvane
