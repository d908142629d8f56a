// The program: builds the objects, joins them, starts and closes them. Window and service are fronts of it.
#pragma once

#include <QCoroTask>
#include <QJsonObject>
#include <QString>

#include <array>
#include <memory>
#include <optional>

#include "app/carry_undo.h"
#include "app/health.h"
#include "app/health_checks.h"
#include "app/metrics.h"
#include "app/options.h"
#include "app/running_command.h"
#include "app/settings.h"
#include "base/outcome.h"
#include "base/setting.h"
#include "base/status_board.h"
#include "control/monitor_commands.h"
#include "control/monitor_history.h"
#include "control/monitor_settings.h"
#include "forward/feed_upload.h"
#include "forward/output.h"
#include "forward/tcp_forwarding.h"
#include "link/device_slots.h"
#include "link/framer.h"
#include "link/serial_link.h"
#include "link/serial_ports.h"
#include "link/tcp_link.h"
#include "measure/channel_groups.h"
#include "measure/heard_monitors.h"
#include "measure/ledger.h"
#include "measure/measurement.h"
#include "measure/pulse_counters.h"
#include "measure/record_writer.h"
#include "measure/stored_energies.h"
#include "measure/virtual_channels.h"
#include "measure/virtual_device.h"
#include "store/capture_database.h"
#include "store/clock_changes.h"
#include "store/db_writer.h"
#include "store/error_log.h"
#include "store/settings_store.h"
#include "store/unwritten_records.h"
#include "store/upkeep/database_backups.h"
#include "store/upkeep/database_files.h"
#include "store/upkeep/database_work.h"
#include "store/upkeep/maintenance.h"
#include "store/upkeep/nightly_runs.h"
#include "web/history.h"
#include "web/live_events.h"
#include "web/web_server.h"

namespace corvane {

class Clock;
class Operator;

inline constexpr Setting kRawDisplay{.key = "DisplayHex",
                                     .kind = SettingKind::Switch,
                                     .fallback = "False",
                                     .by = SettingBy::Command,
                                     .help = "Whether received bytes are kept for being looked at."};
inline constexpr std::array kProgramSettings = {kRawDisplay};

/// The data folder must exist and be locked for this program. `clock` must outlive it.
class Program {
public:
    Program(const Options& options, Clock& clock);

    /// Joins an output to all that has to do with it. To be called before `Start`.
    void AddOutput(Output& output);
    void AddOutput(std::unique_ptr<Output> output);

    /// Opens the database, then starts the links. A failure is final.
    QCoro::Task<Outcome> Start(Operator& op);

    /// Ends all waits, writes what is queued, and offers to try once more where that did not work.
    QCoro::Task<> Close(Operator& op);

    /// The readings document, of all devices or of the one in a slot.
    [[nodiscard]] QJsonObject Readings(std::optional<int> slot = std::nullopt) const;

    /// Whether received bytes are kept for being looked at, on all streams (`kRawDisplay`).
    void SetRawDisplay(bool on);

    /// The links to the monitors, by their streams; and those of each kind, by their letters.
    [[nodiscard]] MonitorLinks Links() { return {&tcpA, &serialA, &tcpB, &serialB, &serialC}; }
    [[nodiscard]] std::array<const MonitorLink*, kStreams> Links() const {
        return {&tcpA, &serialA, &tcpB, &serialB, &serialC};
    }
    [[nodiscard]] std::array<TcpLink*, 2> TcpLinks() { return {&tcpA, &tcpB}; }
    [[nodiscard]] std::array<SerialLink*, 3> SerialLinks() { return {&serialA, &serialB, &serialC}; }

    [[nodiscard]] QString DataFolder() const { return dataFolder_; }

    // Declared in the order of their building: each uses only what stands above it.
private:
    QString dataFolder_;

public:
    Clock& clock;
    RunningCommand runningCommand;
    StatusBoard statusBoard;
    ErrorLog errorLog;
    SettingsStore settings;

private:
    QMetaObject::Connection settingsProblems_;  ///< made before anybody reads a setting

public:
    const QString timeZoneProblem;  ///< why the clock shows UTC; empty where it shows local time
    ClockChanges clockChanges;
    CaptureDatabase database;
    DbWriter dbWriter;
    UnwrittenRecords unwritten;
    DatabaseWork databaseWork;
    DatabaseBackups backups;
    DatabaseFiles databaseFiles;
    Maintenance maintenance;
    NightlyRuns nightlyRuns;
    DeviceSlots deviceSlots;
    Measurement measurement;
    Ledger ledger;
    PulseCounters pulses;
    ChannelGroups channelGroups;
    StoredEnergies storedEnergies;
    VirtualChannels virtualChannels;
    VirtualDevice virtualDevice;
    RecordWriter records;
    CarryUndo carryUndo;
    Framer framer;
    TcpLink tcpA;
    TcpLink tcpB;
    SystemSerialPorts serialPorts;
    SerialLink serialA;
    SerialLink serialB;
    SerialLink serialC;
    HeardMonitors heardMonitors;
    MonitorCommands commands;
    MonitorHistory monitorHistory;
    MonitorSettings monitorSettings;
    TcpForwarding forwarding;
    FeedUpload feedUpload;
    OutputList outputs;
    LiveEvents liveEvents;
    History history;
    Metrics metrics;
    WebServer webServer;
    HealthChecks healthChecks;
    Health health;
    Settings userSettings;  ///< the way in for what people change
};

}  // namespace corvane
