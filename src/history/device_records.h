// How the records of one device are walked in the tables of the capture database. Whoever tells of the past
// reads it through here.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "history/wall_time.h"
#include "store/sql_cursor.h"

namespace corvane {

struct RecordSpan {
    std::string address;  ///< as in the column `deviceaddress`
    WallTime from = 0;
    WallTime to = 0;  ///< not included
};

struct DeviceRecord {
    static constexpr int kFirstValue = 2;  ///< the column of `row` with which the wanted values begin

    std::int64_t id;
    WallTime time;
    const SqlCursor& row;
};

using TakeRecord = std::function<void(const DeviceRecord& record)>;

/// Where a walk through minute records goes on.
struct WalkedBefore {
    std::int64_t id = 0;                ///< of the newest record
    std::optional<WallTime> time = {};  ///< of the record that was taken last
};

// The functions below hand the records of a span to `take`, with the values of `columns`, which are joined by
// commas. A record whose stamp is none is left out. They give the error text, empty where nothing failed.

/// Minute records behind those of `before`, in the order in which they were written. One with the time of the
/// one before is left out: it is there twice.
[[nodiscard]] std::string WalkMinuteRecords(const CaptureDatabase::Connection& database,
                                            const RecordSpan& span, const std::string& columns,
                                            const WalkedBefore& before, const TakeRecord& take);

/// The newest minute record alone, where it is among the last of the table: it is up to an hour ahead of the
/// hourly records.
[[nodiscard]] std::string TakeNewestMinuteRecord(const CaptureDatabase::Connection& database,
                                                 const RecordSpan& span, const std::string& columns,
                                                 const TakeRecord& take);

/// Hourly records, in the order in which they were written.
[[nodiscard]] std::string WalkHourlyRecords(const CaptureDatabase::Connection& database,
                                            const RecordSpan& span, const std::string& columns,
                                            const TakeRecord& take);

}  // namespace corvane
