#include <QJsonArray>

#include <algorithm>

#include "app/program.h"
#include "base/date_entry.h"
#include "base/number_format.h"
#include "measure/ledger_document.h"
#include "remote/command.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kMostListed = 1000;

/// The query for the days that the arguments name: from the first to the second, both whole.
std::optional<LedgerQuery> QueryOf(const QStringList& arguments) {
    LedgerQuery query{.most = kMostListed + 1};
    if (!arguments.isEmpty()) {
        const auto from = ProperDate(arguments.first());
        if (!from) return std::nullopt;
        query.from = DateText(*from).toStdString();
    }
    if (arguments.size() > 1) {
        const auto to = ProperDate(arguments[1]);
        if (!to) return std::nullopt;
        query.to = DateText(to->addDays(1)).toStdString();
    }
    return query;
}

QCoro::Task<Reply> List(Program& program, QStringList arguments, Operator&) {
    const std::optional<LedgerQuery> query = QueryOf(arguments);
    if (!query) co_return Reply::Failure(u"Dates are entered as yyyy-mm-dd."_s);
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

QCoro::Task<Reply> Undo(Program& program, QStringList arguments, Operator& op) {
    std::vector<std::int64_t> ids;
    for (const QString& argument : arguments) {
        bool isNumber = false;
        ids.push_back(argument.toLongLong(&isNumber));
        if (!isNumber) co_return Reply::Failure(u"An entry is named by its number."_s);
    }
    const Outcome done = co_await program.carryUndo.Undo(ids, op);
    co_return Reply::Of(done, u"Done; the same again brings it back."_s);
}

QCoro::Task<Reply> Keep(Program& program, QStringList arguments, Operator&) {
    const Outcome kept = co_await program.carryUndo.Keep(arguments.first().toLongLong());
    co_return Reply::Of(kept, u"The carry stands."_s);
}

}  // namespace

std::span<const Command> LedgerCommands() {
    static constexpr Command commands[] = {
        {"ledger", "[FROM [TO]]", "What happened to the counters, by days.", 0, 2, true, List},
        {"ledger undo", "ID...", "Takes carries back, or puts them back.", 1, 45, false, Undo},
        {"ledger keep", "ID", "Lets a doubtful carry stand.", 1, 1, false, Keep},
    };
    return commands;
}

}  // namespace corvane
