// The monitor that commands go to: its packets, its settings, and what they were.
#pragma once

#include <vector>

#include "window/page.h"

class QComboBox;
class QLabel;
class QPlainTextEdit;
class QVBoxLayout;

namespace corvane {

class Actions;
class DeviceSlots;
class Measurement;
class MonitorCommands;
class MonitorHistory;
class MonitorSettings;

/// The monitor at the command target: commands to it, its settings now, and as they were.
struct TargetMonitor {
    MonitorCommands& commands;
    MonitorSettings& settings;
    const MonitorHistory& history;
};

class MonitorPage final : public Page {
    Q_OBJECT

public:
    MonitorPage(const TargetMonitor& monitor, const DeviceSlots& slots, Measurement& measurement,
                Actions& actions);

    void Refresh() override;

private:
    void AddTarget(QVBoxLayout* page);
    void AddCommands(QVBoxLayout* page);
    void AddSettings(QVBoxLayout* page);
    void AddSetters(QVBoxLayout* page);
    void AddHistory(QVBoxLayout* page);
    void ShowCommandBytes();
    void ShowSettings();
    void ShowHistory();
    void ShowDifference();

    TargetMonitor monitor_;
    const DeviceSlots& slots_;
    Measurement& measurement_;
    Actions& actions_;
    std::vector<QComboBox*> choices_;  ///< the target, then command bytes; none is made while a command runs
    QComboBox* target_;
    QLabel* targetText_;
    QPlainTextEdit* settings_;
    QComboBox* from_;
    QComboBox* to_;
    QPlainTextEdit* difference_;
};

}  // namespace corvane
