#include "web/history.h"

#include <QDateTime>
#include <QJsonArray>

#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/number_format.h"
#include "link/device_slots.h"
#include "measure/readings.h"
#include "measure/virtual_channels.h"
#include "store/capture_database.h"
#include "web/energy_steps.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// A record of the hour may be this far from the one before: an hour, its delay, and the hour that is left
/// out when summer time begins.
constexpr std::int64_t kLongestPause = 150 * 60;

/// Where the newest record of minutes is looked for, from the end of the table.
constexpr int kTailRows = 200;

QDateTime WallTime(std::int64_t seconds) {
    return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
}

QString Stamp(std::int64_t seconds) {
    return WallTime(seconds).toString(u"yyyy-MM-dd hh:mm:ss"_s);
}

std::optional<std::int64_t> TimeEntry(const QString& text) {
    QDateTime time = QDateTime::fromString(text, u"yyyy-MM-dd'T'hh:mm"_s);
    if (!time.isValid()) time = QDateTime::fromString(text, u"yyyy-MM-dd"_s);
    if (!time.isValid() || time.date().year() < 1970 || time.date().year() > 9999) return std::nullopt;
    time.setTimeSpec(Qt::UTC);
    return time.toSecsSinceEpoch();
}

std::optional<QString> AddressOf(const QString& device, const DeviceSlots& slots) {
    const auto slot = SlotOfLetter(device);
    const QString serial = slot.has_value() ? slots.Bound(*slot) : device;
    bool isNumber = false;
    const auto address = serial.toULongLong(&isNumber);  // the database keeps addresses as numbers
    return isNumber ? std::optional(QString::number(address)) : std::nullopt;
}

/// The start of the step after the one that starts at `seconds`; of the one that holds it where `seconds` is
/// none.
std::int64_t StepStart(const HistoryQuery& query, std::int64_t seconds, bool next) {
    const QDateTime time = WallTime(seconds);
    if (query.step == "month"_L1) {
        const QDate first(time.date().year(), time.date().month(), 1);
        return QDateTime((next ? first.addMonths(1) : first).startOfDay(Qt::UTC)).toSecsSinceEpoch();
    }
    const std::int64_t length = query.minutes > 0         ? query.minutes * 60
                                : query.step == "hour"_L1 ? 3600
                                                          : 86'400;
    return (seconds / length + (next ? 1 : 0)) * length;
}

QueryResult Failed(const CaptureDatabase::Connection& database) {
    return {.rows = {}, .errorText = database ? sqlite3_errmsg(database.Handle()) : "Error DB2"};
}

/// One row per step: its value, and "1" where it is not complete.
using Cells = std::vector<QueryResult::Cell>;

/// The mean of each step's minute records. Rows that are there twice count once.
SqlJob PowerJob(const HistoryQuery& query, std::vector<std::int64_t> bounds) {
    const QString text =
        u"SELECT CAST(strftime('%s', date) AS INTEGER) / %1, AVG(watts) FROM (SELECT DISTINCT date, %2watt "
        u"AS "
        "watts FROM monitordata_minute WHERE deviceaddress = %3 AND date >= '%4' AND date < '%5') GROUP BY 1"_s;
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
SqlJob EnergyJob(const HistoryQuery& query, std::vector<std::int64_t> bounds) {
    const QString reading =
        u"SELECT date, %1kwh AS kwh FROM %2 WHERE deviceaddress = %3 AND date >= '%4' AND "
        "date < '%5'"_s.arg(query.channel, u"%1"_s, query.address, Stamp(bounds.front() - kLongestPause),
                            Stamp(bounds.back() + kLongestPause));
    const QString text =
        u"SELECT CAST(strftime('%s', date) AS INTEGER), kwh FROM (%1 UNION ALL SELECT * FROM (%2 AND id > "
        u"(SELECT "
        "MAX(id) FROM monitordata_minute) - %3 ORDER BY id DESC LIMIT 1)) ORDER BY date"_s;
    const std::string sql =
        text.arg(reading.arg("monitordata_hourly"_L1), reading.arg("monitordata_minute"_L1))
            .arg(kTailRows)
            .toStdString();
    const bool mayFall = query.address == QLatin1StringView(kVirtualDeviceAddress);
    return [sql, bounds = std::move(bounds), mayFall](SqlSession& session) {
        sqlite3* handle = session.Database().Handle();
        sqlite3_stmt* raw = nullptr;
        if (handle == nullptr || sqlite3_prepare_v2(handle, sql.c_str(), -1, &raw, nullptr) != SQLITE_OK)
            return Failed(session.Database());
        const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement(raw, sqlite3_finalize);
        EnergySteps steps(bounds, kLongestPause, mayFall);
        int state = SQLITE_ROW;
        while ((state = sqlite3_step(raw)) == SQLITE_ROW) {
            if (sqlite3_column_type(raw, 0) == SQLITE_NULL || sqlite3_column_type(raw, 1) == SQLITE_NULL)
                continue;
            steps.Add(sqlite3_column_int64(raw, 0), sqlite3_column_double(raw, 1));
        }
        if (state != SQLITE_DONE) return Failed(session.Database());
        QueryResult result;
        for (const EnergySteps::Step& step : steps.Steps()) {
            Cells& cells = result.rows.emplace_back(2);
            if (!step.kwh.has_value()) continue;
            cells[0] = ShortestText(*step.kwh);
            if (!step.complete) cells[1].emplace(1, '1');
        }
        return result;
    };
}

SqlJob JobOf(const HistoryQuery& query, std::vector<std::int64_t> bounds) {
    return query.minutes > 0 ? PowerJob(query, std::move(bounds)) : EnergyJob(query, std::move(bounds));
}

WebReply Failure(unsigned status, const QString& text) {
    return WebReply::Json(status, {{u"error"_s, text}});
}

WebReply ReplyOf(const HistoryQuery& query, const std::vector<std::int64_t>& bounds,
                 const QueryResult& result) {
    const bool power = query.minutes > 0;
    const double precision = power ? 10 : 1e6;
    QJsonArray points;
    for (std::size_t i = 0; i < result.rows.size(); ++i) {
        const auto& [value, partial] = std::tie(result.rows[i][0], result.rows[i][1]);
        QJsonObject point{{u"time"_s, WallTime(bounds[i]).toString(u"yyyy-MM-dd hh:mm"_s)}};
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
    if (std::ranges::find(kChannelNames, query.channel.toStdString()) == kChannelNames.end())
        return u"channel is CH1, CH2 or AUX1 to AUX5."_s;
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

std::vector<std::int64_t> HistoryQuery::Bounds() const {
    std::vector<std::int64_t> bounds = {StepStart(*this, from, false)};
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
    std::vector<std::int64_t> bounds = query.Bounds();
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
