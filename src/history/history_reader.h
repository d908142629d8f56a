// What charts are made of, read from the capture database by a long SQL job.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "history/energy_history.h"
#include "history/power_history.h"
#include "store/sql_worker.h"

namespace corvane {

/// How closely the past is looked at.
enum class Detail {
    Minutes,  ///< all minute records; hourly ones fill the meter readings where minute records are missing
    Hours,    ///< meter readings alone, of the hourly records and the newest minute record
};

/// The records of one device from `from` up to `to`.
struct DeviceHistory {
    std::string address;  ///< as in the column `deviceaddress`
    WallTime from = 0;
    WallTime to = 0;
    Detail detail = Detail::Minutes;
    PowerHistory power = {};
    EnergyHistory energy = {};
    Tariff tariff = {};
    std::int64_t newestId = 0;  ///< the id of the newest minute record of the file
};

/// A job that reads into `history` what it does not have yet: everything, or the minute records that are
/// newer than `newestId`. The caller leaves `history` alone until the job has ended. Without rows; an error
/// text where it fails.
[[nodiscard]] SqlJob ReadHistory(std::shared_ptr<DeviceHistory> history);

/// A device that has records, or a row of its own.
struct HistoryDevice {
    std::string address;
    int id = 0;  ///< of its row: 1 to 6 for Device A to F, 0 where there is none
    std::array<std::string, kChannels> labels;  ///< empty where the user gave none

    bool operator==(const HistoryDevice&) const = default;
};

/// A job whose rows `DevicesOf` understands.
[[nodiscard]] SqlJob ReadDevices();
[[nodiscard]] std::vector<HistoryDevice> DevicesOf(const QueryResult& rows);

}  // namespace corvane
