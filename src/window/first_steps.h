// From nothing to the first watts: where the monitor is, which one it is, what its channels are called.
#pragma once

#include <QCoroTask>
#include <QWizard>

#include <array>
#include <vector>

#include "base/outcome.h"
#include "base/setting.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QRadioButton;

namespace corvane {

class Actions;
class CaptureDatabase;
class Clock;
class DeviceSlots;
class Measurement;
class SerialLink;
class SerialPorts;
class Settings;
class SettingsStore;
class TcpLink;

/// Where the first monitor may be, and how it is heard.
struct FirstLinks {
    const TcpLink& network;
    SerialLink& serial;
    SerialPorts& ports;
    const Measurement& measurement;
};

inline constexpr Setting kFirstStepsWanted{.key = "FirstDeployment",
                                           .kind = SettingKind::Switch,
                                           .fallback = "True",
                                           .by = SettingBy::Program,
                                           .help = "False: the first steps have been shown."};
inline constexpr std::array kFirstStepsSettings = {kFirstStepsWanted};

class FirstSteps final : public QWizard {
    Q_OBJECT

public:
    FirstSteps(const FirstLinks& links, DeviceSlots& slots, const CaptureDatabase& database,
               Settings& settings, Clock& clock, Actions& actions, QWidget* parent);

    /// Whether this program has not met a monitor yet, and nobody said that they need no help.
    [[nodiscard]] static bool AreDue(const DeviceSlots& slots, const SettingsStore& settings);

private:
    QWizardPage* PlacePage();
    QWizardPage* FoundPage();
    QWizardPage* NamePage();
    QWizardPage* ReadyPage();
    void OnPage(int page);
    void FillPorts();
    void OpenPort();
    QCoro::Task<Outcome> OpenAtEveryStart();
    void LookForMonitors();
    bool validateCurrentPage() override;
    bool Bind();
    void StartDemo();

    FirstLinks links_;
    DeviceSlots& slots_;
    const CaptureDatabase& database_;
    Settings& settings_;
    Actions& actions_;
    QRadioButton* serial_;
    QRadioButton* network_;
    QRadioButton* demo_;
    QLabel* how_;
    QComboBox* port_;
    QWidget* portRow_;
    QListWidget* heard_;
    QComboBox* device_;
    std::vector<QLineEdit*> labels_;
};

}  // namespace corvane
