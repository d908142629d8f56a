// AUX inputs that count pulses of a flow or utility meter: the rate of flow and the running total.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "base/outcome.h"
#include "base/setting.h"
#include "link/device_slots.h"
#include "measure/readings_sink.h"

namespace corvane {

class Operator;
class SettingsStore;

/// One that each slot has, for its pulses.
[[nodiscard]] constexpr Setting PulseSetting(const char* key, const char* fallback, const char* help) {
    return {.key = key,
            .section = SettingSection::SlotFromOne,
            .fallback = fallback,
            .by = SettingBy::Command,
            .help = help};
}

inline constexpr Setting kPulseCounting{.key = "EnablePulseCnt",
                                        .section = SettingSection::SlotFromOne,
                                        .kind = SettingKind::Switch,
                                        .fallback = "False",
                                        .by = SettingBy::Command,
                                        .help = "Whether pulses are counted."};
inline constexpr Setting kPulseSource = PulseSetting("PulseSource", "", "The input, AUX1 to AUX4.");
inline constexpr Setting kFlowType = PulseSetting("FlowType", "", "The kind of flow, 0 to 3.");
inline constexpr Setting kPerHour = PulseSetting("PerHr", "0", "1: the rate is one per hour.");
inline constexpr Setting kCountFactor = PulseSetting("CountK", "1", "What one pulse equals, in units.");
inline constexpr Setting kReferenceCount =
    PulseSetting("CountRefVal", "0", "The count of pulses when the total was preset.");
inline constexpr Setting kReferenceSeconds =
    PulseSetting("CountRefSec", "0", "The monitor's seconds when the total was preset.");
inline constexpr Setting kPresetTotal = PulseSetting("CountPreset", "0", "The total at that moment.");
inline constexpr Setting kFlowPage{.key = "FlowPage",
                                   .section = SettingSection::SlotFromOne,
                                   .by = SettingBy::Program,
                                   .help = "Where a browser on this machine finds the page of the flow."};
// Kept for others to read.
inline constexpr Setting kCountDevice = PulseSetting("CountDevice", "", "The letter of the device.");
inline constexpr Setting kTotalUnit = PulseSetting("PulseUnit", "", "The unit of the total.");
inline constexpr Setting kRateUnit = PulseSetting("FlowUnits", "", "The unit of the rate, in full.");
inline constexpr Setting kShortRateUnit =
    PulseSetting("PowerFlowUnits", "", "The unit of the rate, in short.");
inline constexpr std::array kPulseCountersSettings = {
    kPulseCounting, kPulseSource, kFlowType,    kPerHour,   kCountFactor, kReferenceCount, kReferenceSeconds,
    kPresetTotal,   kFlowPage,    kCountDevice, kTotalUnit, kRateUnit,    kShortRateUnit};

/// The words of a unit of flow per minute or per hour.
struct FlowUnit {
    const char* rate;       ///< in full
    const char* shortRate;  ///< as it is shown
    const char* page;       ///< of the dashboard
    const char* total;      ///< what has flowed
};

/// All units that can be chosen.
[[nodiscard]] std::span<const FlowUnit> FlowUnits();

/// How the pulses of a slot are read: kept in the settings section of the slot's number.
struct PulseSetup {
    bool enabled = false;
    std::optional<std::size_t> channel;  ///< `kPulseSource`, an index into `kChannelTable`
    int flowType = -1;                   ///< 0 to 3; -1 where it is undefined
    bool perHour = false;
    double countK = 1;  ///< units per pulse
    double referenceCount = 0;
    double presetTotal = 0;

    [[nodiscard]] const FlowUnit& Unit() const;
};

struct PulseReadings {
    double rate;   ///< in units per minute or hour; 0 until there are two packets
    double total;  ///< in units
    const FlowUnit* unit;
};

class PulseCounters final : public QObject, public ReadingsSink {
    Q_OBJECT

public:
    explicit PulseCounters(SettingsStore& settings);

    void OnReadings(const DeviceReadings& readings) override;

    /// Another monitor is at slot 1..6 now: what was counted is not its.
    void Forget(int slot);

    /// Of slot 1..6; nothing while its counting is off or no packet has come.
    [[nodiscard]] std::optional<PulseReadings> Readings(int slot) const;

    [[nodiscard]] const PulseSetup& Setup(int slot) const { return Of(slot).setup; }

    /// Checks the four entries of a slot and saves them, with the words of its unit.
    Outcome SetUp(int slot, const QString& source, const QString& flowType, const QString& period,
                  const QString& countK);

    /// Where the dashboard pages are found, without a "/" at its end. With it, `kFlowPage` of every slot that
    /// has a unit is kept right.
    void SetDashboard(const QString& location);

    /// `kFlowPage`: where the slot's flow is shown; empty while it has no unit.
    [[nodiscard]] QString FlowPage(int slot) const;

    /// Asks, and saves the switch. A refusal changes nothing.
    QCoro::Task<Outcome> SetEnabled(int slot, bool enabled, Operator& op);

    /// Asks for the value that the total stands at now. An entry given up changes nothing.
    QCoro::Task<Outcome> PresetTotal(int slot, Operator& op);

private:
    struct Slot {
        PulseSetup setup;
        std::optional<double> count;      ///< at the last packet
        std::optional<double> rateCount;  ///< from which the next rate is calculated
        std::int32_t seconds = 0;         ///< the monitor's seconds counter at the last packet
        double rate = 0;
        bool pulseSeen = false;  ///< the counter has risen since the start
    };

    void Load(int slot);
    void SaveFlowPage(int slot);
    [[nodiscard]] Slot& Of(int slot) { return slots_[static_cast<std::size_t>(slot - 1)]; }
    [[nodiscard]] const Slot& Of(int slot) const { return slots_[static_cast<std::size_t>(slot - 1)]; }

    SettingsStore& settings_;
    QString dashboard_;
    std::array<Slot, kSlots> slots_;
};

}  // namespace corvane
