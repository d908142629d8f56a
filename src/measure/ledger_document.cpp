#include "measure/ledger_document.h"

#include <QJsonArray>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <type_traits>

#include "base/date_entry.h"
#include "base/number_format.h"
#include "link/device_slots.h"
#include "link/device_texts.h"
#include "measure/ledger.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString Text(const std::string& text) {
    return QString::fromStdString(text);
}

QString Shown(const std::optional<double>& counter) {
    return counter ? Text(ShortestText(*counter)) : u"?"_s;
}

// By `LedgerKind`; %1 and %2 are the counter before and after, %3 and %4 its carry, %5 the seconds by this
// machine's clock.
constexpr std::array kEventTexts = {
    "counted as wrapped from %1 to %2, carry %3 to %4",
    "began again, from %1 to %2",
    "the seconds counted as wrapped from %1 to %2",
    "the monitor counted as restarted, its seconds from %1 to %2",
    "carry %3 was set to %4",
    "another monitor",
    "the program started",
    "the program ended",
    "nothing was heard for %5 s",
};

template <typename Value>
QJsonValue OrNull(const std::optional<Value>& value) {
    if (!value) return {};
    if constexpr (std::is_same_v<Value, std::int64_t>)
        return QJsonValue(qint64{*value});
    else
        return QJsonValue(*value);
}

QJsonObject EntryObject(const LedgerEntry& entry) {
    return {
        {u"id"_s, qint64{entry.id}},
        {u"time"_s, Text(DateTimeText(entry.time))},
        {u"slot"_s, entry.slot == 0 ? QJsonValue() : QJsonValue(SlotLetter(entry.slot))},
        {u"serial"_s, entry.serial.empty() ? QJsonValue() : QJsonValue(Text(entry.serial))},
        {u"channel"_s,
         entry.counter ? QJsonValue(QLatin1StringView(ChannelName(entry.counter->channel))) : QJsonValue()},
        {u"polarized"_s, entry.counter && entry.counter->polarized},
        {u"kind"_s, QLatin1StringView(KindText(entry.kind))},
        {u"judgement"_s, QLatin1StringView(JudgementText(entry.judgement))},
        {u"counterBefore"_s, OrNull(entry.counterBefore)},
        {u"counterAfter"_s, OrNull(entry.counterAfter)},
        {u"elapsedMonitor"_s, OrNull(entry.elapsedMonitor)},
        {u"elapsedClock"_s, OrNull(entry.elapsedClock)},
        {u"carryBefore"_s, OrNull(entry.carryBefore)},
        {u"carryAfter"_s, OrNull(entry.carryAfter)},
        {u"note"_s, Text(entry.note)},
        {u"text"_s, EventText(entry)},
        {u"undone"_s, entry.undone},
    };
}

/// Those that are told unasked.
std::span<const LedgerEntry> NewestDoubtful(const Ledger& ledger) {
    constexpr std::size_t kMost = 5;
    const std::span<const LedgerEntry> all = ledger.Doubtful();
    return all.last(std::min(all.size(), kMost));
}

}  // namespace

std::optional<LedgerQuery> LedgerQueryOf(const QString& from, const QString& to) {
    const auto first = ProperDate(from);
    const auto last = ProperDate(to);
    if ((!from.isEmpty() && !first) || (!to.isEmpty() && !last)) return std::nullopt;
    LedgerQuery query;
    if (first) query.from = DateText(*first).toStdString();
    if (last) query.to = DateText(last->addDays(1)).toStdString();
    return query;
}

QString EventText(const LedgerEntry& entry) {
    // A text that names none of them simply has none put in.
    QString text = QLatin1StringView(kEventTexts.at(static_cast<std::size_t>(entry.kind)));
    text.replace(u"%1"_s, Shown(entry.counterBefore)).replace(u"%2"_s, Shown(entry.counterAfter));
    text.replace(u"%3"_s, QString::number(entry.carryBefore.value_or(0)));
    text.replace(u"%4"_s, QString::number(entry.carryAfter.value_or(0)));
    text.replace(u"%5"_s, QString::number(entry.elapsedClock.value_or(0)));
    if (entry.kind == LedgerKind::Reset && !entry.counter) text.clear();
    if (!entry.note.empty()) text += (text.isEmpty() ? QString() : u": "_s) + Text(entry.note);
    if (entry.elapsedMonitor && entry.judgement != Judgement::Sure) {
        text += u"; %1 s by the monitor, %2 s by this machine"_s.arg(*entry.elapsedMonitor)
                    .arg(entry.elapsedClock.value_or(0));
    }
    if (entry.undone) text += u"; taken back"_s;
    return text;
}

QString PlaceText(const LedgerEntry& entry) {
    if (entry.slot == 0) return {};
    QString text = SlotName(entry.slot);
    if (!entry.serial.empty()) text += u" (%1)"_s.arg(Text(entry.serial));
    if (entry.counter) text += u", "_s + Text(CounterText(*entry.counter));
    return text;
}

QString LedgerLine(const LedgerEntry& entry) {
    const QString place = PlaceText(entry);
    return u"%1  %2  %3%4  [%5]"_s.arg(QString::number(entry.id), Text(DateTimeText(entry.time)),
                                       place.isEmpty() ? QString() : place + u": "_s, EventText(entry),
                                       QLatin1StringView(JudgementText(entry.judgement)));
}

QJsonObject LedgerDocument(const std::vector<LedgerEntry>& entries) {
    QJsonArray array;
    for (const LedgerEntry& entry : entries)
        array.append(EntryObject(entry));
    return {{u"entries"_s, array}};
}

QStringList DoubtfulLines(const Ledger& ledger, const QString& remedy) {
    QStringList lines;
    const std::span<const LedgerEntry> newest = NewestDoubtful(ledger);
    if (const std::size_t older = ledger.Doubtful().size() - newest.size(); older > 0)
        lines.append(u"%1 older doubtful carries stand, too."_s.arg(older));
    for (const LedgerEntry& entry : newest)
        lines.append(
            (entry.id == 0 ? u"Not in the ledger yet: "_s : u"Entry %1 of the ledger: "_s.arg(entry.id)) +
            Ledger::DoubtText(entry));
    if (!lines.isEmpty()) lines.append(remedy);
    return lines;
}

QJsonObject LedgerState(const Ledger& ledger) {
    QJsonArray doubtful;
    for (const LedgerEntry& entry : NewestDoubtful(ledger)) {
        QJsonObject object = EntryObject(entry);
        object[u"text"_s] = Ledger::DoubtText(entry);
        doubtful.append(object);
    }
    return {{u"doubtful"_s, doubtful},
            {u"doubtfulCount"_s, static_cast<qint64>(ledger.Doubtful().size())},
            {u"problem"_s, ledger.ProblemText()}};
}

}  // namespace corvane
