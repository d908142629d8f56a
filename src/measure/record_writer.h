// Turns readings into the minute and hourly records of the database.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "link/device_slots.h"
#include "measure/readings.h"
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
    RecordWriter(DbWriter& writer, const CaptureDatabase& database, const VirtualChannels& virtualChannels,
                 const Clock& clock);

    /// Looks whether the power and energy tables exist. To be called when the database or its tables changed.
    /// Where they cannot be looked for, as in a locked file, their rows are kept, and the next minute looks
    /// again.
    void LookForMinuteTables();

    /// Looks a last time, and gives up what is kept then: before the program ends.
    void GiveUpUndecided();

    /// Hands over a minute record with the first packet that has power when the minute of the hour differs
    /// from that of the slot's last one (at first from that of the start), and an hourly record when the last
    /// one is more than 60 minutes old (so the first packet writes one) or lies in the future, since the
    /// clock was set back. The virtual device gets a record along with those of the lowest slot that is on
    /// line; an hourly one that had to wait for the energy of a device, as soon as that is known.
    void OnReadings(const DeviceReadings& readings) override;

    /// Keeps the records that are due from now on, until they are released: their counters are about to be
    /// corrected. Beyond `kMostHeld` they are given up.
    void Hold() { holding_ = true; }

    /// Hands over what was kept, each row after `correct`, the virtual device's too.
    void Release(const std::function<void(DeviceReadings&)>& correct);

    static constexpr std::size_t kMostHeld = 2000;

private:
    struct Due {
        int minute;             ///< of the hour, at the last minute record
        std::int64_t lastHour;  ///< time of the last hourly record, unix seconds
    };

    /// A row of one of the two tables that a database need not have.
    struct MinuteRow {
        bool energy;
        std::string statement;
    };

    /// What is due with a packet.
    struct DueRows {
        DeviceReadings readings;
        std::optional<DeviceReadings> virtualRow;
        bool minute = false;
        bool hour = false;
        bool virtualHour = false;  ///< there is a virtual row then
    };

    void WriteRows(const DueRows& rows);
    void WriteMinute(const DeviceReadings& readings);
    void WriteWhereTableIs(const MinuteRow& row);

    DbWriter& writer_;
    const CaptureDatabase& database_;
    const VirtualChannels& virtualChannels_;
    std::array<Due, kSlots> due_;
    bool virtualHourDue_ = false;
    bool holding_ = false;
    std::vector<DueRows> held_;
    bool tablesKnown_ = true;
    std::vector<MinuteRow> undecided_;  ///< until it is known which tables there are
    bool hasPowerTable_ = false;
    bool hasEnergyTable_ = false;
};

}  // namespace corvane
