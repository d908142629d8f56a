#include "history/device_records.h"

#include <string_view>

namespace corvane {

namespace {

/// Where the newest minute record of a device is looked for, from the end of the table.
constexpr int kTailRows = 200;

/// The records of `table` in the span, with a further condition or order.
std::string Walk(const CaptureDatabase::Connection& database, const char* table, const RecordSpan& span,
                 const std::string& columns, const std::string& further, const TakeRecord& take) {
    std::string sql = "SELECT rowid,date,";
    sql.append(columns).append(" FROM ").append(table);
    sql.append(" WHERE deviceaddress = ").append(SqlQuoted(span.address));
    sql.append(" AND date >= '").append(StampText(span.from));
    sql.append("' AND date < '").append(StampText(span.to)).append("'").append(further);
    SqlCursor rows(database, sql);
    while (rows.Next()) {
        const auto time = ParseStamp(rows.Text(1));
        if (time && *time < span.to) take({rows.Integer(0), *time, rows});
    }
    return rows.ErrorText();
}

}  // namespace

std::string WalkMinuteRecords(const CaptureDatabase::Connection& database, const RecordSpan& span,
                              const std::string& columns, const WalkedBefore& before,
                              const TakeRecord& take) {
    std::optional<WallTime> last = before.time;
    std::string newer;
    if (before.id > 0) newer.append(" AND rowid > ").append(std::to_string(before.id));
    newer.append(" ORDER BY rowid");
    return Walk(database, "monitordata_minute", span, columns, newer, [&](const DeviceRecord& record) {
        if (last == record.time) return;
        last = record.time;
        take(record);
    });
}

std::string TakeNewestMinuteRecord(const CaptureDatabase::Connection& database, const RecordSpan& span,
                                   const std::string& columns, const TakeRecord& take) {
    std::string newest = " AND rowid > (SELECT MAX(rowid) FROM monitordata_minute) - ";
    newest.append(std::to_string(kTailRows)).append(" ORDER BY rowid DESC LIMIT 1");
    return Walk(database, "monitordata_minute", span, columns, newest, take);
}

std::string WalkHourlyRecords(const CaptureDatabase::Connection& database, const RecordSpan& span,
                              const std::string& columns, const TakeRecord& take) {
    return Walk(database, "monitordata_hourly", span, columns, " ORDER BY rowid", take);
}

}  // namespace corvane
