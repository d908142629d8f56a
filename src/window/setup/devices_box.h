// The devices in use: which monitor each of them is, and on which link.
#pragma once

#include <QCoroTask>
#include <QGroupBox>

#include <optional>

#include "base/outcome.h"
#include "link/monitor_link.h"

class QComboBox;
class QSpinBox;
class QTableWidget;

namespace corvane {

class Actions;
class DeviceSlots;
class Measurement;
class MonitorCommands;
class MonitorSettings;
class Operator;
class Settings;

class DevicesBox final : public QGroupBox {
    Q_OBJECT

public:
    /// `monitor` is the one that answers on the command target of `commands`.
    DevicesBox(DeviceSlots& slots, Measurement& measurement, const MonitorLinks& links,
               MonitorCommands& commands, MonitorSettings& monitor, Settings& settings, Actions& actions);

    /// To be called once a second while it is looked at.
    void Refresh();

    /// Slot 1..6, if it is in use.
    void Choose(int slot);

Q_SIGNALS:
    /// This device is worked on from now on; 0 for none.
    void SlotChosen(int slot);

private:
    void FormatTable();
    QWidget* Binding();
    QWidget* Heard();
    void ShowHeard();
    QWidget* LinkChoice(int slot);
    void ShowDevices();
    void ShowStates();
    void OnSelection();
    QCoro::Task<Outcome> Bind(std::optional<int> slot, Operator& op);
    QCoro::Task<Outcome> BindHeard(std::optional<int> slot, QString serial, Operator& op);
    QCoro::Task<Outcome> Find(std::optional<int> slot, Operator& op);
    QCoro::Task<Outcome> Enter(std::optional<int> slot, Operator& op);

    DeviceSlots& slots_;
    Measurement& measurement_;
    MonitorLinks links_;
    MonitorCommands& commands_;
    MonitorSettings& monitor_;
    Settings& settings_;
    Actions& actions_;
    bool settingsChanged_ = true;
    std::optional<int> slot_;  ///< the one that is chosen
    QTableWidget* devices_;
    QWidget* heardRow_ = nullptr;
    QComboBox* heard_ = nullptr;  ///< the monitors that no device answers to
    QSpinBox* quantity_ = nullptr;
};

}  // namespace corvane
