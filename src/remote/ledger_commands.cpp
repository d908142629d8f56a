#include <algorithm>

#include "app/program.h"
#include "base/clock.h"
#include "base/date_entry.h"
#include "base/number_format.h"
#include "link/device_texts.h"
#include "measure/gaps.h"
#include "measure/ledger_document.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kNoNumber = u"An entry is named by its number."_s;
constexpr int kMostListed = 1000;
constexpr int kDaysOfGaps = 7;  // where no day is named
constexpr int kMostDaysOfGaps = 3660;

QCoro::Task<Reply> List(Program& program, QStringList arguments, Operator&) {
    std::optional<LedgerQuery> query = LedgerQueryOf(arguments.value(0), arguments.value(1));
    if (!query) co_return Reply::Failure(u"Dates are entered as yyyy-mm-dd."_s);
    query->most = kMostListed + 1;
    Ledger::Listing listing = co_await program.ledger.List(*query);
    if (!listing.error.isEmpty())
        co_return Reply::Failure(u"The ledger cannot be read: %1"_s.arg(listing.error));
    Reply reply;
    if (listing.entries.size() > kMostListed) {
        listing.entries.erase(listing.entries.begin());
        reply.lines.append(u"Only the last %1 entries; for others give a day."_s.arg(kMostListed));
    }
    for (const LedgerEntry& entry : listing.entries)
        reply.lines.append(LedgerLine(entry));
    if (listing.entries.empty()) reply.lines.append(u"The ledger has no entries of that time."_s);
    reply.data = LedgerDocument(listing.entries);
    co_return reply;
}

QString DurationText(std::int64_t seconds) {
    const std::int64_t minutes = (seconds + 30) / 60;
    return minutes < 60 ? u"%1 min"_s.arg(minutes) : u"%1 h %2 min"_s.arg(minutes / 60).arg(minutes % 60);
}

QString HeardLine(const HeardDay& day) {
    const double share = 100.0 * static_cast<double>(day.heard) / static_cast<double>(day.of);
    return u"%1  %2 (%3): %4 % heard of %5"_s.arg(
        DateText(day.day), SlotName(day.slot), QString::fromStdString(day.serial),
        QString::fromStdString(FormatNumber(share, "##0.0")), DurationText(day.of));
}

QString GapLine(const Gap& gap) {
    const auto stamp = [](std::int64_t seconds) {
        return QString::fromStdString(DateTimeText(LocalTimeAt(seconds)));
    };
    return u"%1 (%2): nothing from %3 to %4, %5"_s.arg(SlotName(gap.slot), QString::fromStdString(gap.serial),
                                                       stamp(gap.from), gap.open ? u"now"_s : stamp(gap.to),
                                                       DurationText(gap.Seconds()));
}

QCoro::Task<Reply> Gaps(Program& program, QStringList arguments, Operator&) {
    const LocalTime now = program.clock.Now();
    QDate last(now.year, now.month, now.day);
    QDate first = last.addDays(1 - kDaysOfGaps);
    if (!arguments.isEmpty()) {
        const auto from = ProperDate(arguments.first());
        const auto to = arguments.size() > 1 ? ProperDate(arguments[1]) : std::optional(last);
        if (!from || !to) co_return Reply::Failure(u"Dates are entered as yyyy-mm-dd."_s);
        first = *from;
        last = std::min(last, *to);
    }
    first = std::max(first, last.addDays(1 - kMostDaysOfGaps));
    LedgerQuery query;
    query.gapsOnly = true;
    query.from = DateText(first).toStdString();
    query.most = kMostLedgerEntries;
    const Ledger::Listing listing = co_await program.ledger.List(query);
    const Ledger::Hearing hearing = co_await program.ledger.Heard();
    if (const QString error = listing.error + hearing.error; !error.isEmpty())
        co_return Reply::Failure(u"The ledger cannot be read: %1"_s.arg(error));
    std::vector<Gap> gaps = GapsOf(listing.entries, hearing.spans, now.unixSeconds);
    const std::vector<HeardDay> days = HeardDays(gaps, hearing.spans, first, last, now.unixSeconds);
    const std::int64_t end = last.addDays(1).startOfDay().toSecsSinceEpoch();
    std::erase_if(gaps, [end](const Gap& gap) { return gap.from >= end; });
    Reply reply;
    for (const HeardDay& day : days)
        reply.lines.append(HeardLine(day));
    for (const Gap& gap : gaps)
        reply.lines.append(GapLine(gap));
    if (reply.lines.isEmpty()) reply.lines.append(u"The ledger knows of no monitor in that time."_s);
    reply.data = GapsDocument(days, gaps);
    co_return reply;
}

/// The numbers of entries; none where a text is no number.
std::vector<std::int64_t> IdsOf(const QStringList& arguments) {
    std::vector<std::int64_t> ids;
    for (const QString& argument : arguments) {
        bool isNumber = false;
        ids.push_back(argument.toLongLong(&isNumber));
        if (!isNumber) return {};
    }
    return ids;
}

QCoro::Task<Reply> Undo(Program& program, QStringList arguments, Operator& op) {
    const std::vector<std::int64_t> ids = IdsOf(arguments);
    if (ids.empty()) co_return Reply::Failure(kNoNumber);
    const Outcome done = co_await program.carryUndo.Undo(ids, op);
    co_return Reply::Of(done, u"Done; the same again brings it back."_s);
}

QCoro::Task<Reply> Keep(Program& program, QStringList arguments, Operator&) {
    const std::vector<std::int64_t> ids = IdsOf(arguments);
    if (ids.empty()) co_return Reply::Failure(kNoNumber);
    const Outcome kept = co_await program.carryUndo.Keep(ids);
    co_return Reply::Of(kept, u"The carry stands."_s);
}

}  // namespace

std::span<const Command> LedgerCommands() {
    static constexpr Command commands[] = {
        {"ledger", "[FROM [TO]]", "What happened to the counters, by days.", 0, 2, true, List},
        {"gaps", "[FROM [TO]]", "How much of each day was heard, and the gaps.", 0, 2, true, Gaps},
        {"ledger undo", "ID...", "Takes carries back, or puts them back.", 1, 45, false, Undo},
        {"ledger keep", "ID...", "Lets doubtful carries stand.", 1, 45, false, Keep},
    };
    return commands;
}

}  // namespace corvane
