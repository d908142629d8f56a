#include "measure/stored_energies.h"

#include <cmath>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/number_entry.h"
#include "measure/counters.h"
#include "store/capture_database.h"

namespace corvane {
namespace {

using Row = std::vector<QueryResult::Cell>;

constexpr std::size_t kDate = 0;
constexpr std::size_t kFirstValue = 1;  // the channels' absolute energies, then those polarized

/// Where a table keeps the energies, how many watt-seconds are one of its units, and how many of its newest
/// rows are looked at: a device that was not recorded for longer is not worth the wait.
struct EnergyTable {
    const char* name;
    const char* absolute;
    const char* polarized;
    double unit;
    int newest;
};
constexpr EnergyTable kEnergyTables[] = {
    {"monitordata_minute", "awsc", "pwsc", 1, 20'000},
    {"monitordata_hourly", "kwh", "kwhp", kWattSecondsPerKwh, 100'000},
};

std::string NewestRow(const EnergyTable& table, const std::string& serial) {
    std::string sql = "SELECT date, " + ChannelColumns(table.absolute);
    for (std::size_t channel = 0; channel < kMainChannels; ++channel)
        sql.append(", ").append(ChannelColumn(channel, table.polarized));
    sql.append(" FROM ").append(table.name).append(" WHERE deviceaddress = ").append(SqlQuoted(serial));
    sql.append(" AND id > (SELECT max(id) FROM ").append(table.name).append(") - ");
    return sql.append(std::to_string(table.newest)).append(" ORDER BY id DESC LIMIT 1");
}

/// The energies of a row, whole as the counters are; nothing where one is no finite number.
std::optional<StoredReadings> ReadingsOf(const Row& row, double unit) {
    StoredReadings readings;
    for (std::size_t i = kFirstValue; i < row.size(); ++i) {
        const auto number = ParseNumber(row[i].value_or(""));
        if (!number.has_value()) return std::nullopt;
        const std::size_t channel = i - kFirstValue;
        double& energy =
            channel < kChannels ? readings[channel].absolute : readings[channel - kChannels].polarized;
        energy = std::round(*number * unit);
        if (!std::isfinite(energy)) return std::nullopt;
    }
    return readings;
}

}  // namespace

StoredEnergies::StoredEnergies(const CaptureDatabase& database, const DeviceSlots& slots, const Clock& clock)
    : database_(database), slots_(slots), clock_(clock) {
    connect(&slots, &DeviceSlots::BindingsChanged, this, &StoredEnergies::Forget);
}

const std::optional<StoredReadings>& StoredEnergies::Of(int slot) const {
    Known& known = known_[static_cast<std::size_t>(slot - 1)];
    if (!known.lookAgain.has_value() || clock_.Monotonic() < *known.lookAgain) return known.readings;
    known = {.readings = std::nullopt, .lookAgain = std::nullopt};
    const std::string serial = slots_.Bound(slot).toStdString();
    if (serial.empty()) return known.readings;
    QueryResult::Cell date;
    for (const EnergyTable& table : kEnergyTables) {
        const QueryResult found = database_.Run(NewestRow(table, serial));
        if (!found.Ok()) {
            known = {.readings = std::nullopt, .lookAgain = clock_.Monotonic() + kRetryTime};
            break;
        }
        if (found.rows.empty() || (known.readings.has_value() && found.rows.front()[kDate] <= date)) continue;
        if (const auto readings = ReadingsOf(found.rows.front(), table.unit)) {
            known.readings = readings;
            date = found.rows.front()[kDate];
        }
    }
    return known.readings;
}

}  // namespace corvane
