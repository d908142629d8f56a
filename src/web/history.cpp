#include "web/history.h"

#include <QJsonArray>

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/number_format.h"
#include "history/energy_history.h"
#include "history/wall_time.h"
#include "link/device_slots.h"
#include "measure/readings.h"
#include "store/capture_database.h"
#include "store/schema.h"
#include "store/sql_cursor.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Where the newest record of minutes is looked for, from the end of the table.
constexpr int kTailRows = 200;

QString Stamp(WallTime time) {
    return QString::fromStdString(StampText(time));
}

std::optional<WallTime> TimeEntry(const QString& text) {
    const bool isDay = text.size() == 10;
    if (!isDay && text.indexOf(u'T') != 10) return std::nullopt;
    const QString stamp = text.left(10) + u' ' + (isDay ? u"00:00"_s : text.mid(11));
    const auto time = ParseStamp(stamp.toStdString());
    return time >= 0 ? time : std::nullopt;
}

std::optional<QString> AddressOf(const QString& device, const DeviceSlots& slots) {
    const auto slot = SlotOfLetter(device);
    const QString serial = slot.has_value() ? slots.Bound(*slot) : device;
    bool isNumber = false;
    const auto address = serial.toULongLong(&isNumber);  // the database keeps addresses as numbers
    return isNumber ? std::optional(QString::number(address)) : std::nullopt;
}

/// Of a step of energy.
CalendarUnit UnitOf(const HistoryQuery& query) {
    if (query.step == "month"_L1) return CalendarUnit::Month;
    return query.step == "hour"_L1 ? CalendarUnit::Hour : CalendarUnit::Day;
}

/// The start of the step that holds `time`, or of the one after it.
WallTime StepStart(const HistoryQuery& query, WallTime time, bool next) {
    if (query.minutes == 0) return next ? NextStart(UnitOf(query), time) : StartOf(UnitOf(query), time);
    const WallTime length = query.minutes * 60;
    return (time / length + (next ? 1 : 0)) * length;
}

QueryResult Failed(const CaptureDatabase::Connection& database) {
    return {.rows = {}, .errorText = database ? sqlite3_errmsg(database.Handle()) : "Error DB2"};
}

/// One row per step: its value, and "1" where it is not complete.
using Cells = std::vector<QueryResult::Cell>;

/// The mean of each step's minute records. Rows that are there twice count once.
SqlJob PowerJob(const HistoryQuery& query, std::vector<WallTime> bounds) {
    const QString text =
        u"SELECT CAST(strftime('%s', date) AS INTEGER) / %1, AVG(watts) FROM (SELECT DISTINCT date, %2watt "
        "AS watts FROM monitordata_minute WHERE deviceaddress = %3 AND date >= '%4' AND date < '%5') GROUP BY 1"_s;
    const std::string sql =
        text.arg(query.minutes * 60)
            .arg(query.channel, query.address, Stamp(bounds.front()), Stamp(bounds.back()))
            .toStdString();
    const std::int64_t first = bounds.front() / (query.minutes * 60);
    return [sql, first, steps = bounds.size() - 1](SqlSession& session) {
        if (!session.Database()) return Failed(session.Database());
        QueryResult found = session.Database().GetTable(sql);
        if (!found.Ok()) return found;
        QueryResult result{.rows = std::vector<Cells>(steps, Cells(2)), .errorText = {}};
        for (Cells& row : found.rows) {
            if (!row[0].has_value()) continue;  // a stamp that is none
            const auto step = static_cast<std::size_t>(std::stoll(*row[0]) - first);
            if (step < steps) result.rows[step][0] = std::move(row[1]);
        }
        return result;
    };
}

/// Energies are differences of meter readings: those of the hourly records, and the newest one of minutes,
/// which may be up to an hour ahead.
SqlJob EnergyJob(const HistoryQuery& query, std::vector<WallTime> bounds) {
    const QString reading =
        u"SELECT date, %1kwh AS kwh FROM %2 WHERE deviceaddress = %3 AND date >= '%4' AND "
        "date < '%5'"_s.arg(query.channel, u"%1"_s, query.address,
                            Stamp(bounds.front() - EnergyHistory::kGap),
                            Stamp(bounds.back() + EnergyHistory::kGap));
    const QString text =
        u"SELECT date, kwh FROM (%1 UNION ALL SELECT * FROM (%2 AND id > (SELECT "
        "MAX(id) FROM monitordata_minute) - %3 ORDER BY id DESC LIMIT 1)) ORDER BY date"_s;
    const std::string sql =
        text.arg(reading.arg("monitordata_hourly"_L1), reading.arg("monitordata_minute"_L1))
            .arg(kTailRows)
            .toStdString();
    const bool signedCh1 = query.address.toStdString() == kVirtualDevice;
    const std::size_t channel = FindChannel(query.channel.toStdString()).value_or(0);
    const CalendarUnit unit = UnitOf(query);
    return [sql, bounds = std::move(bounds), signedCh1, channel, unit](SqlSession& session) {
        SqlCursor rows(session.Database(), sql);
        EnergyHistory history;
        while (rows.Next()) {
            const auto time = ParseStamp(rows.Text(0));
            if (!time || std::isnan(rows.Number(1))) continue;
            ChannelEnergies readings;
            readings.fill(std::numeric_limits<double>::quiet_NaN());
            readings[channel] = rows.Number(1);
            history.Add(*time, readings, signedCh1);
        }
        QueryResult result{.rows = std::vector<Cells>(bounds.size() - 1, Cells(2)),
                           .errorText = rows.ErrorText()};
        for (const EnergyBar& bar : history.Bars(unit, bounds.front(), bounds.back(), {}).bars) {
            const auto step = std::ranges::lower_bound(bounds, bar.from) - bounds.begin();
            Cells& cells = result.rows[static_cast<std::size_t>(step)];
            cells[0] = ShortestText(bar.kwh[channel]);
            if (bar.covered < bar.to - bar.from) cells[1].emplace(1, '1');
        }
        return result;
    };
}

SqlJob JobOf(const HistoryQuery& query, std::vector<WallTime> bounds) {
    return query.minutes > 0 ? PowerJob(query, std::move(bounds)) : EnergyJob(query, std::move(bounds));
}

WebReply Failure(unsigned status, const QString& text) {
    return WebReply::Json(status, {{u"error"_s, text}});
}

WebReply ReplyOf(const HistoryQuery& query, const std::vector<WallTime>& bounds, const QueryResult& result) {
    const bool power = query.minutes > 0;
    const double precision = power ? 10 : 1e6;
    QJsonArray points;
    for (std::size_t i = 0; i < result.rows.size(); ++i) {
        const auto& [value, partial] = std::tie(result.rows[i][0], result.rows[i][1]);
        QJsonObject point{{u"time"_s, Stamp(bounds[i]).chopped(3)}};
        point[u"value"_s] = value.has_value()
                                ? QJsonValue(std::round(std::stod(*value) * precision) / precision)
                                : QJsonValue();
        if (partial.has_value()) point[u"partial"_s] = true;
        points.append(point);
    }
    return WebReply::Json(200, {{u"address"_s, query.address},
                                {u"channel"_s, query.channel},
                                {u"unit"_s, power ? u"W"_s : u"kWh"_s},
                                {u"step"_s, query.step},
                                {u"points"_s, points}});
}

}  // namespace

std::variant<HistoryQuery, QString> HistoryQuery::Parse(const QHash<QString, QString>& arguments,
                                                        const DeviceSlots& slots) {
    HistoryQuery query;
    const auto address = AddressOf(arguments.value(u"device"_s), slots);
    if (!address.has_value()) return u"device is the letter of a device that is bound, or an address."_s;
    query.address = *address;
    query.channel = arguments.value(u"channel"_s).toUpper();
    if (!FindChannel(query.channel.toStdString())) return u"channel is CH1, CH2 or AUX1 to AUX5."_s;
    const auto from = TimeEntry(arguments.value(u"from"_s));
    const auto to = TimeEntry(arguments.value(u"to"_s));
    if (!from.has_value() || !to.has_value() || *from >= *to)
        return u"from and to are days, yyyy-mm-dd, or times, yyyy-mm-ddThh:mm, and to is later."_s;
    query.from = *from;
    query.to = *to;
    const QString step = arguments.value(u"step"_s);
    query.minutes = step.toInt();
    const bool isWord = step == "hour"_L1 || step == "day"_L1 || step == "month"_L1;
    if (!isWord && (query.minutes < 1 || query.minutes > 1440))
        return u"step is hour, day or month for energy, or a count of minutes, 1 to 1440, for power."_s;
    query.step = step;
    // A month is a day at least, so that the count of steps is bounded before any is made.
    const std::int64_t least = query.minutes > 0 ? query.minutes * 60 : step == "hour"_L1 ? 3600 : 86'400;
    if ((query.to - query.from) / least >= kMostPoints * (step == "month"_L1 ? 28 : 1))
        return u"These are more than %1 steps; ask for a shorter time, or a longer step."_s.arg(kMostPoints);
    return query;
}

std::vector<WallTime> HistoryQuery::Bounds() const {
    std::vector<WallTime> bounds = {StepStart(*this, from, false)};
    while (bounds.back() < to)
        bounds.push_back(StepStart(*this, bounds.back(), true));
    return bounds;
}

QCoro::Task<WebReply> History::Read(HistoryQuery query) {
    if (waiting_ >= kMostWaiting || stopping_) co_return Failure(503, u"Too much is asked for at once."_s);
    ++waiting_;
    while (worker_.Busy()) {
        const bool goOn = co_await clock_.DLY(10);
        if (!goOn || stopping_) break;
    }
    --waiting_;
    if (stopping_) co_return Failure(503, u"The program closes."_s);
    std::vector<WallTime> bounds = query.Bounds();
    SqlJob job = JobOf(query, bounds);
    const QueryResult result = co_await worker_.Run(database_.databasePath(), std::move(job));
    if (!result.Ok()) co_return Failure(503, QString::fromStdString(result.errorText));
    co_return ReplyOf(query, bounds, result);
}

QCoro::Task<> History::Stop() {
    stopping_ = true;
    worker_.Interrupt();
    while (worker_.Busy() || waiting_ > 0) {
        const bool goOn = co_await clock_.DLY(10);
        if (!goOn) co_return;
    }
}

}  // namespace corvane
