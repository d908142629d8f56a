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
#include "link/device_slots.h"
#include "measure/readings_sink.h"

namespace corvane {

class Operator;
class SettingsStore;

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
    bool enabled = false;                ///< `EnablePulseCnt`
    std::optional<std::size_t> channel;  ///< `PulseSource`, an index into `kChannelTable`
    int flowType = -1;                   ///< `FlowType`, 0 to 3; -1 where it is undefined
    bool perHour = false;                ///< `PerHr`
    double countK = 1;                   ///< `CountK`: units per pulse
    double referenceCount = 0;           ///< `CountRefVal`: the counter when the total was preset
    double presetTotal = 0;              ///< `CountPreset`: the total at that moment

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

    /// Of slot 1..6; nothing while its counting is off or no packet has come.
    [[nodiscard]] std::optional<PulseReadings> Readings(int slot) const;

    [[nodiscard]] const PulseSetup& Setup(int slot) const { return Of(slot).setup; }

    /// Checks the four entries of a slot and saves them, with the words of its unit.
    Outcome SetUp(int slot, const QString& source, const QString& flowType, const QString& period,
                  const QString& countK);

    /// Where the dashboard pages are found, without a "/" at its end. With it, `FlowPage` of every slot that
    /// has a unit is kept right.
    void SetDashboard(const QString& location);

    /// `FlowPage`: where the slot's flow is shown; empty while it has no unit.
    [[nodiscard]] QString FlowPage(int slot) const;

    /// Asks, and saves the switch. A refusal changes nothing.
    QCoro::Task<Outcome> SetEnabled(int slot, bool enabled, Operator& op);

    /// Asks for the value that the total stands at now. An entry given up changes nothing.
    QCoro::Task<Outcome> PresetTotal(int slot, Operator& op);

private:
    struct Slot {
        PulseSetup setup;
        std::optional<double> count;  ///< at the last packet
        std::int32_t seconds = 0;     ///< the monitor's seconds counter at that packet
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
