#include "web/history.h"

#include <QJsonArray>

#include <cmath>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "base/channels.h"
#include "base/clock.h"
#include "link/device_slots.h"
#include "store/capture_database.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

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

/// The unit of the calendar that a step of energy is called by.
std::optional<CalendarUnit> UnitOf(const QString& step) {
    if (step == "hour"_L1) return CalendarUnit::Hour;
    if (step == "day"_L1) return CalendarUnit::Day;
    return step == "month"_L1 ? std::optional(CalendarUnit::Month) : std::nullopt;
}

WebReply Failure(unsigned status, const QString& text) {
    return WebReply::Json(status, {{u"error"_s, text}});
}

WebReply ReplyOf(const HistoryQuery& query, const std::vector<StepValue>& values) {
    const bool power = query.steps.powerStep > 0;
    const double precision = power ? 10 : 1e6;
    QJsonArray points;
    for (const StepValue& step : values) {
        QJsonObject point{{u"time"_s, QString::fromStdString(StampText(step.start)).chopped(3)}};
        point[u"value"_s] = step.value.has_value()
                                ? QJsonValue(std::round(*step.value * precision) / precision)
                                : QJsonValue();
        if (step.partial) point[u"partial"_s] = true;
        points.append(point);
    }
    return WebReply::Json(200, {{u"address"_s, QString::fromStdString(query.steps.address)},
                                {u"channel"_s, QLatin1StringView(ChannelName(query.steps.channel))},
                                {u"unit"_s, power ? u"W"_s : u"kWh"_s},
                                {u"step"_s, query.step},
                                {u"points"_s, points}});
}

}  // namespace

std::variant<HistoryQuery, QString> HistoryQuery::Parse(const QHash<QString, QString>& arguments,
                                                        const DeviceSlots& slots) {
    HistoryQuery query;
    ChannelSteps& steps = query.steps;
    const auto address = AddressOf(arguments.value(u"device"_s), slots);
    if (!address.has_value()) return u"device is the letter of a device that is bound, or an address."_s;
    steps.address = address->toStdString();
    const auto channel = FindChannel(arguments.value(u"channel"_s).toStdString());
    if (!channel) return u"channel is CH1, CH2 or AUX1 to AUX5."_s;
    steps.channel = *channel;
    const auto from = TimeEntry(arguments.value(u"from"_s));
    const auto to = TimeEntry(arguments.value(u"to"_s));
    if (!from.has_value() || !to.has_value() || *from >= *to)
        return u"from and to are days, yyyy-mm-dd, or times, yyyy-mm-ddThh:mm, and to is later."_s;
    steps.from = *from;
    steps.to = *to;
    query.step = arguments.value(u"step"_s);
    const int minutes = query.step.toInt();
    const auto unit = UnitOf(query.step);
    if (!unit && (minutes < 1 || minutes > 1440))
        return u"step is hour, day or month for energy, or a count of minutes, 1 to 1440, for power."_s;
    steps.powerStep = unit ? 0 : minutes * 60;
    steps.energyStep = unit.value_or(CalendarUnit::Hour);
    // A month is a day at least, so that the count of steps is bounded before any is made.
    const std::int64_t least = unit == CalendarUnit::Hour ? kWallHour : unit ? kWallDay : steps.powerStep;
    if ((*to - *from) / least >= kMostPoints * (unit == CalendarUnit::Month ? 28 : 1))
        return u"These are more than %1 steps; ask for a shorter time, or a longer step."_s.arg(kMostPoints);
    return query;
}

QCoro::Task<WebReply> History::Read(HistoryQuery query) {
    if (waiting_ >= kMostWaiting || stopping_) co_return Failure(503, u"Too much is asked for at once."_s);
    const std::int64_t asked = clock_.Monotonic();
    ++waiting_;
    while (worker_.Busy()) {
        const bool goOn = co_await clock_.DLY(10);
        if (!goOn || stopping_) break;
    }
    --waiting_;
    if (stopping_) co_return Failure(503, u"The program closes."_s);
    const auto values = std::make_shared<std::vector<StepValue>>();
    SqlJob job = ReadSteps(query.steps, values);
    const auto left = lockPatience_ - std::chrono::milliseconds(clock_.Monotonic() - asked);
    const QueryResult result = co_await worker_.Run(database_.databasePath(), std::move(job), left);
    if (result.Locked())
        co_return Failure(503, u"Another program holds the database locked; ask again soon."_s);
    if (!result.Ok()) co_return Failure(503, QString::fromStdString(result.errorText));
    co_return ReplyOf(query, *values);
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
