// What was heard of the monitor of each device: over which link, of which model, and whether it is one.
#pragma once

#include <QObject>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>

#include "link/device_slots.h"
#include "measure/readings_sink.h"

namespace corvane {

class Measurement;
class SettingsStore;
struct MonitorModel;

/// Keeps `kDeviceLink` of each device the link on which its packets come, so that a command goes to the
/// monitor whose readings are shown; and says, once, what only two monitors with one serial number could
/// bring about.
class HeardMonitors final : public QObject, public ReadingsSink {
    Q_OBJECT

public:
    /// A link that was silent for so long gives way to another one, in ms.
    static constexpr std::int64_t kSilence = 15'000;

    /// Of how many steps back of a monitor's seconds within `kSetbackTime` (ms) two monitors are concluded.
    static constexpr int kSetbacks = 3;
    static constexpr std::int64_t kSetbackTime = 120'000;

    HeardMonitors(const DeviceSlots& slots, const Measurement& measurement, SettingsStore& settings);

    void OnReadings(const DeviceReadings& readings) override;

    /// The stream, 0..4, of the link on which the packets of slot 1..6 come; nothing where none came since
    /// the start, or since another link was chosen for it.
    [[nodiscard]] std::optional<int> LinkOf(int slot) const { return Of(slot).link; }

Q_SIGNALS:
    /// The packets of a slot come on another link than `kDeviceLink` said; it says so now.
    void Moved(int slot, int stream);

    void Noted(const QString& text);    ///< what is good to know
    void Doubted(const QString& text);  ///< what somebody should see to

private:
    struct Heard {
        std::optional<int> link;
        std::int64_t at = 0;           ///< monotonic ms of the last packet on it
        std::optional<int> otherLink;  ///< on which a packet came meanwhile
        std::int64_t otherAt = 0;      ///< of that
        const MonitorModel* model = nullptr;
        std::optional<std::int32_t> seconds;
        int setbacks = 0;
        std::int64_t setbackAt = 0;  ///< of the first of them
        bool twoTold = false;
        bool modelTold = false;
    };

    [[nodiscard]] Heard& Of(int slot) { return heard_[static_cast<std::size_t>(slot - 1)]; }
    [[nodiscard]] const Heard& Of(int slot) const { return heard_[static_cast<std::size_t>(slot - 1)]; }
    void Forget(int slot) { Of(slot) = {}; }
    void Follow(const DeviceReadings& readings);
    void LookForTwo(const DeviceReadings& readings);
    void TellTwo(Heard& heard, const DeviceReadings& readings, const QString& where);

    const DeviceSlots& slots_;
    SettingsStore& settings_;
    std::array<Heard, kSlots> heard_;
};

}  // namespace corvane
