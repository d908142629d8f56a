// A monitor's settings: read out, shown, changed, and put back to what they were.
#pragma once

#include <QCoroTask>
#include <QString>
#include <QStringList>

#include <optional>

#include "base/outcome.h"
#include "control/monitor_commands.h"
#include "control/settings_block.h"

namespace corvane {

struct KeptSettings;
class MonitorHistory;
struct Setter;

/// All of it goes to the command target, each call to the one it began with. The operator must outlive each
/// call.
class MonitorSettings {
public:
    /// A link that brings more than this during a read-out has packets flowing on it.
    static constexpr qsizetype kMostHeard = 63;

    MonitorSettings(MonitorCommands& commands, const DeviceSlots& slots, const MonitorHistory& history,
                    ErrorLog& errorLog, Clock& clock);

    /// Reads the settings block and keeps it: as `Last`, and in the history where it brought something new.
    QCoro::Task<Outcome> Read(Operator& op);

    /// What a person asks for: reads, and offers to set a send frequency that is too low where several
    /// devices are in use.
    QCoro::Task<Outcome> ReadSettings(Operator& op);

    /// Checks the inputs of the setter of that name and sends them. CT type and range are read back.
    QCoro::Task<Outcome> Set(QString name, QStringList inputs, Operator& op);

    /// Sets the monitor to what it was at `when`, as far as setters reach, after naming them and asking; then
    /// reads back.
    QCoro::Task<Outcome> Restore(QString when, Operator& op);

    /// The last good read-out of the current target; nothing where there was none.
    [[nodiscard]] std::optional<SettingsBlock> Last() const;

    /// The same in lines, below a line that names the device.
    [[nodiscard]] QStringList LastLines() const;

    /// For an operation of several calls.
    [[nodiscard]] HeldTarget HoldTarget() { return HeldTarget(commands_); }

    /// The serial text of the target's monitor: as last read, else as its slot is bound. May be empty.
    [[nodiscard]] QString TargetSerial() const;

private:
    QCoro::Task<Outcome> Send(const Setter& setter, QByteArray arguments, Operator& op);
    QCoro::Task<Outcome> VerifyCt(const Setter& setter, QByteArray arguments, Operator& op);
    QCoro::Task<Outcome> SetIdentity(const Setter& setter, QByteArray arguments, Operator& op);
    QCoro::Task<> CheckSendFrequency(Operator& op);
    QCoro::Task<Outcome> PutBack(KeptSettings kept, Operator& op);

    MonitorCommands& commands_;
    const DeviceSlots& slots_;
    const MonitorHistory& history_;
    ErrorLog& errorLog_;
    Clock& clock_;
    std::optional<SettingsBlock> last_;
    int lastSlot_ = 0;
    QString lastLink_;
};

}  // namespace corvane
