// From packets to readings: the owner of every slot's live values and of the carry counters.
#pragma once

#include <QObject>
#include <QString>

#include <array>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "base/setting.h"
#include "link/device_slots.h"
#include "link/framer.h"
#include "measure/ledger_entry.h"
#include "measure/readings.h"

namespace corvane {

class Clock;
class ErrorLog;
class ReadingsSink;
class SettingsStore;

inline constexpr Setting kLineToLine{
    .key = "VoltX2",
    .kind = SettingKind::Switch,
    .fallback = "False",
    .help = "Whether volts are doubled, to show line to line what is measured line to neutral."};
inline constexpr Setting kCarry{.key = "Roll#",
                                .members = "1A 1P 2A 2P 3-7",
                                .section = SettingSection::SlotFromOne,
                                .kind = SettingKind::Number,
                                .fallback = "0",
                                .least = std::numeric_limits<std::int16_t>::min(),
                                .most = std::numeric_limits<std::int16_t>::max(),
                                .by = SettingBy::Program,
                                .help = "How often the counter has started again at 0."};
inline constexpr std::array kMeasurementSettings = {kLineToLine, kCarry};

/// A monitor that was heard while no device answered to it.
struct UnboundMonitor {
    std::string serial;
    const MonitorModel* model = nullptr;
    int stream = 0;  ///< the receive stream, 0..4, of its last packet
    LocalTime time;  ///< of that
};

class Measurement : public QObject, public PacketReceiver {
    Q_OBJECT

public:
    static constexpr std::int64_t kOfflineAfter = 120;  ///< seconds without a packet
    static constexpr std::int64_t kStaleAfter = 15;     ///< at least, however often the monitor sends
    static constexpr std::int64_t kMissedPackets = 4;   ///< that make a device stale
    static constexpr std::size_t kMostUnbound = 1000;   ///< monitors; those heard last

    /// Of monitors of `models`.
    Measurement(const DeviceSlots& slots, SettingsStore& settings, ErrorLog& errorLog, const Clock& clock,
                std::span<const MonitorModel> models = kModels);

    /// Turns an accepted packet of receive stream 0..4 into the readings of its slot and hands them to the
    /// sinks. A packet whose serial text is bound to no slot ends here.
    void DisplayData(int stream, std::span<const std::uint8_t> packet) override;

    /// Adds a sink behind those that are there. Not owned.
    void AddSink(ReadingsSink& sink) { sinks_.push_back(&sink); }

    /// Of slot 1..6.
    [[nodiscard]] const DeviceReadings& Readings(int slot) const {
        return readings_[static_cast<std::size_t>(slot - 1)];
    }

    /// Sets the nine carries of slot 1..6 to 0 and saves them. `why` is what the ledger says of it.
    void ZeroCarries(int slot, const std::string& why);

    /// The carry of a counter of slot 1..6, and the way to correct it, which saves it.
    [[nodiscard]] int Carry(int slot, const CounterName& counter) const;
    void SetCarry(int slot, const CounterName& counter, int carry);

    /// Lets the next packet of slot 1..6 be a first one, which yields no watts and no carry: to be called
    /// when its monitor was told to begin its counters at 0.
    void BeginAnew(int slot);

    /// Monitors that were heard and are bound to no slot, the newest first.
    [[nodiscard]] std::vector<UnboundMonitor> Unbound() const;

    /// Empties that list.
    void ForgetUnbound() { unbound_.clear(); }

    /// The one verdict on the device of slot 1..6, by the clock that is never set back. It is stale when four
    /// packets are missing, each as far apart as its last two were, and off line after two minutes.
    [[nodiscard]] Presence PresenceOf(int slot) const;

    /// Whether a packet of the slot came within the last two minutes: it is live or stale.
    [[nodiscard]] bool Online(int slot) const;

Q_SIGNALS:
    /// A slot answers to another monitor now, or to none: what was known of it is not true any more.
    void Forgotten(int slot);

    /// Something happened that the ledger records. The entry has no id yet.
    void Noted(const corvane::LedgerEntry& entry);

private:
    struct CounterSource;

    void NoteUnbound(const RealtimePacket& packet, const std::string& serial);
    void TakeBindings();
    void LoadVoltFactor();
    void LoadCarries(int slot, const QString& key);
    static void StartAnew(DeviceReadings& readings, int slot);  ///< keeps the carries, which are the slot's
    void NoteSwap(const DeviceReadings& before, const std::string& serial, std::string note);
    void TakeSeconds(DeviceReadings& readings, std::int32_t seconds);
    void TakeCounter(DeviceReadings& readings, const CounterSource& source, double value);
    [[nodiscard]] LedgerEntry EntryOf(const DeviceReadings& readings, LedgerKind kind) const;
    void NoteStep(const DeviceReadings& readings, const CounterSource& source, LedgerKind kind, double before,
                  int carryBefore);
    bool CountWrap(int slot, EnergyCounter& counter, const CounterSource& source);  ///< false: no room

    const DeviceSlots& slots_;
    SettingsStore& settings_;
    ErrorLog& errorLog_;
    const Clock& clock_;
    std::span<const MonitorModel> models_;
    std::array<DeviceReadings, kSlots> readings_;
    std::array<std::string, kSlots> answered_;  ///< whose packets each slot gets
    std::vector<ReadingsSink*> sinks_;
    std::vector<UnboundMonitor> unbound_;  ///< when they were heard, the newest last
    int voltFactor_ = 1;                   ///< 2 where the meter's volts stand for line to line
};

}  // namespace corvane
