// Turns readings into the minute and hourly records of the database.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "link/device_slots.h"
#include "measure/readings_sink.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class DbWriter;
class VirtualChannels;

/// The insert statements, as the database's readers know them.
namespace sql {
[[nodiscard]] std::string MinuteRow(const DeviceReadings& readings);
[[nodiscard]] std::string PowerRow(const DeviceReadings& readings);
[[nodiscard]] std::string EnergyRow(const DeviceReadings& readings);
[[nodiscard]] std::string HourlyRow(const DeviceReadings& readings);
}  // namespace sql

class RecordWriter final : public ReadingsSink {
public:
    RecordWriter(DbWriter& writer, const VirtualChannels& virtualChannels, const Clock& clock);

    /// Looks whether the power and energy tables exist. To be called when the database or its tables changed.
    void LookForMinuteTables(const CaptureDatabase& database);

    /// Hands over a minute record when the minute of the hour differs from that of the slot's last one (at
    /// first from that of the start), and an hourly record when the last one is more than 60 minutes old (so
    /// the first packet writes one). The virtual device gets a record along with those of the lowest slot
    /// that is on line.
    void OnReadings(const DeviceReadings& readings) override;

private:
    struct Due {
        int minute;             ///< of the hour, at the last minute record
        std::int64_t lastHour;  ///< time of the last hourly record, unix seconds
    };

    void WriteMinute(const DeviceReadings& readings);

    DbWriter& writer_;
    const VirtualChannels& virtualChannels_;
    std::array<Due, kSlots> due_;
    bool hasPowerTable_ = false;
    bool hasEnergyTable_ = false;
};

}  // namespace corvane
