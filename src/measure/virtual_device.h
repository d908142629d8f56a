// The virtual device 999999 as the user sets it up: its row in the database, and how the house is wired.
#pragma once

#include <QCoroTask>
#include <QString>

#include <array>

#include "base/outcome.h"
#include "base/setting.h"
#include "store/schema.h"

namespace corvane {

class CaptureDatabase;
class ChannelGroups;
class Operator;
class SettingsStore;

inline constexpr Setting kVirtualDeviceExists{.key = "EnableVD1",
                                              .kind = SettingKind::Switch,
                                              .fallback = "False",
                                              .by = SettingBy::Command,
                                              .help = "Whether the virtual device is recorded."};
inline constexpr Setting kNetMetering{.key = "NETmeter",
                                      .kind = SettingKind::Switch,
                                      .fallback = "False",
                                      .by = SettingBy::Command,
                                      .help = "Whether power is also sent to the grid."};
inline constexpr std::array kVirtualDeviceSettings = {kVirtualDeviceExists, kNetMetering};

/// Its operations ask before they change anything; a refusal changes nothing and is a success.
class VirtualDevice {
public:
    VirtualDevice(const ChannelGroups& groups, const CaptureDatabase& database, SettingsStore& settings)
        : groups_(groups), database_(database), settings_(settings) {}

    /// Whether its records are written (`kVirtualDeviceExists`).
    [[nodiscard]] bool Exists() const;

    /// By `kNetMetering`.
    [[nodiscard]] InstallationType Type() const;

    /// As the two choices are called.
    [[nodiscard]] static QString TypeText(InstallationType type);

    QCoro::Task<Outcome> Create(Operator& op);
    QCoro::Task<Outcome> Delete(Operator& op);
    QCoro::Task<Outcome> SetInstallationType(InstallationType type, Operator& op);

    /// The channel that the database names as the main panel; empty where it names none.
    [[nodiscard]] QString SetMainPanelID() const;

private:
    [[nodiscard]] Outcome UpdateLabels(InstallationType type) const;

    const ChannelGroups& groups_;
    const CaptureDatabase& database_;
    SettingsStore& settings_;
};

}  // namespace corvane
