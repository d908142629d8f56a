#include "measure/gaps.h"

#include <QDateTime>
#include <QJsonArray>
#include <QString>

#include <algorithm>

#include "base/date_entry.h"
#include "link/device_slots.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

struct Interval {
    std::int64_t from;
    std::int64_t to;

    [[nodiscard]] Interval Within(const Interval& other) const {
        return {std::max(from, other.from), std::min(to, other.to)};
    }
    [[nodiscard]] std::int64_t Length() const { return std::max<std::int64_t>(to - from, 0); }
};

QString Stamp(std::int64_t unixSeconds) {
    return QString::fromStdString(DateTimeText(LocalTimeAt(unixSeconds)));
}

QJsonValue SlotValue(int slot) {
    return slot == 0 ? QJsonValue() : QJsonValue(SlotLetter(slot));
}

}  // namespace

std::vector<Gap> GapsOf(const std::vector<LedgerEntry>& entries, const HeardSpans& spans, std::int64_t now) {
    std::vector<Gap> gaps;
    for (const LedgerEntry& entry : entries) {
        if (entry.kind != LedgerKind::Gap) continue;
        const std::int64_t to = entry.time.unixSeconds;
        gaps.push_back({entry.slot, entry.serial, to - entry.elapsedClock.value_or(0), to});
    }
    for (const auto& [serial, span] : spans)
        if (now - span.last > kLeastGap) gaps.push_back({span.slot, serial, span.last, now, true});
    std::ranges::stable_sort(gaps, {}, &Gap::from);
    return gaps;
}

std::vector<HeardDay> HeardDays(const std::vector<Gap>& gaps, const HeardSpans& spans, QDate first,
                                QDate last, std::int64_t now) {
    std::vector<HeardDay> days;
    for (QDate day = first; day <= last; day = day.addDays(1)) {
        const Interval whole{day.startOfDay().toSecsSinceEpoch(),
                             day.addDays(1).startOfDay().toSecsSinceEpoch()};
        for (const auto& [serial, span] : spans) {
            const Interval known = whole.Within({span.first, now});
            if (known.Length() == 0) continue;
            std::int64_t silent = 0;
            for (const Gap& gap : gaps)
                if (gap.serial == serial) silent += known.Within({gap.from, gap.to}).Length();
            days.push_back(
                {day, span.slot, serial, std::max<std::int64_t>(known.Length() - silent, 0), known.Length()});
        }
    }
    return days;
}

QJsonObject GapsDocument(const std::vector<HeardDay>& days, const std::vector<Gap>& gaps) {
    QJsonArray dayArray;
    for (const HeardDay& day : days) {
        dayArray.append(QJsonObject{{u"day"_s, DateText(day.day)},
                                    {u"slot"_s, SlotValue(day.slot)},
                                    {u"serial"_s, QString::fromStdString(day.serial)},
                                    {u"heard"_s, qint64{day.heard}},
                                    {u"of"_s, qint64{day.of}}});
    }
    QJsonArray gapArray;
    for (const Gap& gap : gaps) {
        gapArray.append(QJsonObject{{u"slot"_s, SlotValue(gap.slot)},
                                    {u"serial"_s, QString::fromStdString(gap.serial)},
                                    {u"from"_s, Stamp(gap.from)},
                                    {u"to"_s, Stamp(gap.to)},
                                    {u"seconds"_s, qint64{gap.Seconds()}},
                                    {u"open"_s, gap.open}});
    }
    return {{u"days"_s, dayArray}, {u"gaps"_s, gapArray}};
}

}  // namespace corvane
