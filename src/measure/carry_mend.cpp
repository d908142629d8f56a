#include "measure/carry_mend.h"

#include <sqlite3.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "base/number_format.h"
#include "measure/ledger_file.h"
#include "measure/sql_text.h"
#include "store/schema.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr const char* kMinuteTable = "monitordata_minute";

/// The columns that hold energy, by the end of their names; null: the table has none of that kind.
struct EnergyTable {
    const char* name;
    const char* wattSeconds;
    const char* wattSecondsPolarized;
    const char* mainKwh;
    const char* auxKwh;
    const char* kwhPolarized;
    bool wholeMinutes;  ///< its stamps are "yyyy-mm-dd hh:nn"
};
constexpr EnergyTable kEnergyTables[] = {
    {kMinuteTable, "awsc", "pwsc", "kwh", "kwh", nullptr, false},
    {"monitordata_hourly", nullptr, nullptr, "kwh", "kwh", "kwhp", false},
    {"minute_energy", nullptr, nullptr, "Akwh", "kwh", "Pkwh", true},
};

std::string WholeText(double wattSeconds) {
    return std::to_string(static_cast<std::int64_t>(wattSeconds));
}

/// One column of one monitor's rows that is to change.
struct Change {
    const char* table;
    std::string serial;
    std::string where;
    std::string set;
};

/// Which of a table's rows are meant. A row of whole minutes stands for the packet of the minute row beside
/// it.
std::string DateCondition(const EnergyTable& table, const std::string& serial, const RowSpan& span) {
    if (!table.wholeMinutes) {
        std::string condition = SqlText({"date >= ", SqlQuoted(span.from)});
        if (!span.to.empty()) condition += SqlText({" AND date < ", SqlQuoted(span.to)});
        return condition;
    }
    const auto besides = [&serial](const std::string& from, const std::string& to) {
        return SqlText({"EXISTS(SELECT 1 FROM monitordata_minute WHERE deviceaddress = ", serial,
                        " AND date >= ", SqlQuoted(from), " AND date < ", SqlQuoted(to), ")"});
    };
    constexpr std::size_t kMinute = std::string_view("yyyy-mm-dd hh:nn").size();
    const std::string first = span.from.substr(0, kMinute);
    std::string condition = SqlText({"(date > ", SqlQuoted(first), " OR date = ", SqlQuoted(first), " AND ",
                                     besides(span.from, first + ":99"), ")"});
    if (span.to.empty()) return condition;
    const std::string last = span.to.substr(0, kMinute);
    return condition + SqlText({" AND (date < ", SqlQuoted(last), " OR date = ", SqlQuoted(last), " AND ",
                                besides(last, span.to), ")"});
}

class Changes {
public:
    explicit Changes(const CarryMend& mend) : mend_(mend) {}

    [[nodiscard]] std::vector<Change> Of(const EnergyTable& table) {
        changes_.clear();
        const std::size_t channel = mend_.counter.channel;
        const bool main = channel < kMainChannels;
        const double step = mend_.back ? -mend_.counter.Span() : mend_.counter.Span();
        for (const RowSpan& span : mend_.rows) {
            const bool polarized = mend_.counter.polarized;
            Add(table, span.serial, span, channel, polarized ? table.wattSecondsPolarized : table.wattSeconds,
                false, step, true);
            const char* kwh = main ? table.mainKwh : table.auxKwh;
            Add(table, span.serial, span, channel, polarized ? table.kwhPolarized : kwh, true, step, true);
            AddSums(table, span, step);
        }
        return changes_;
    }

private:
    void AddSums(const EnergyTable& table, const RowSpan& span, double step) {
        for (std::size_t channel = 0; channel < kChannels; ++channel) {
            const double share = step * mend_.shares.absolute[channel];
            const char* kwh = channel < kMainChannels ? table.mainKwh : table.auxKwh;
            Add(table, kVirtualDevice, span, channel, table.wattSeconds, false, share, false);
            Add(table, kVirtualDevice, span, channel, kwh, true, share, false);
        }
        const double share = step * mend_.shares.ch1Polarized;
        Add(table, kVirtualDevice, span, 0, table.wattSecondsPolarized, false, share, false);
        Add(table, kVirtualDevice, span, 0, table.kwhPolarized, true, share, false);
    }

    /// A monitor's rows are known by their energy, too: those that lack the carry are left alone.
    /// Kilowatt-hours are brought to whole watt-seconds, so that what is taken back and put back is the same
    /// to the last digit.
    void Add(const EnergyTable& table, const std::string& serial, const RowSpan& span, std::size_t channel,
             const char* end, bool kwh, double step, bool ofMonitor) {
        if (end == nullptr || step == 0) return;
        const std::string column = ChannelColumn(channel, end);
        Change change{.table = table.name, .serial = serial, .where = {}, .set = {}};
        change.where = SqlText({"deviceaddress = ", serial, " AND ", DateCondition(table, serial, span),
                                " AND typeof(", column, ") IN ('integer', 'real')"});
        if (ofMonitor) {
            const double least = (mend_.back ? mend_.least : mend_.least - 1) * mend_.counter.Span();
            change.where += SqlText(
                {" AND ", column, " >= ", kwh ? ShortestText(least / kWattSecondsPerKwh) : WholeText(least)});
        } else {
            change.where += SqlText({" AND ", column, " <> 0"});
        }
        const std::string amount = SqlText({step < 0 ? " - " : " + ", WholeText(step < 0 ? -step : step)});
        change.set = kwh ? SqlText({column, " = (round(", column, " * 3600000.0)", amount, ") / 3600000.0"})
                         : SqlText({column, " = ", column, amount});
        changes_.push_back(std::move(change));
    }

    const CarryMend& mend_;
    std::vector<Change> changes_;
};

std::set<std::string> TablesOf(const CaptureDatabase::Connection& database) {
    std::set<std::string> names;
    for (const auto& row :
         database.GetTable("SELECT lower(name) FROM sqlite_master WHERE type = 'table'").rows)
        names.insert(row.front().value_or(""));
    return names;
}

/// All that a mend changes in a database with those tables.
std::vector<Change> AllChanges(const CarryMend& mend, const std::set<std::string>& tables) {
    std::vector<Change> all;
    for (const EnergyTable& table : kEnergyTables) {
        if (!tables.contains(table.name)) continue;
        std::ranges::move(Changes(mend).Of(table), std::back_inserter(all));
    }
    return all;
}

/// The last carry first when they are taken back: each row still has those before it then.
void PutInOrder(std::vector<CarryMend>& mends) {
    std::ranges::sort(mends, [](const CarryMend& a, const CarryMend& b) {
        return a.back ? a.entry > b.entry : a.entry < b.entry;
    });
}

std::string CellText(const std::optional<int>& value) {
    return value ? std::to_string(*value) : "NULL";
}

/// The error text, or empty.
std::string Mark(const CaptureDatabase::Connection& database, const MendMark& mark, bool back) {
    const std::string statement =
        SqlText({"UPDATE ledger.entries SET undone = ", back ? "1" : "0",
                 ", undone_from = ", back ? SqlQuoted(mark.undoneFrom) : "NULL",
                 ", carry_from = ", CellText(mark.carryFrom), ", carry_due = ", CellText(mark.carryDue),
                 " WHERE id = ", std::to_string(mark.entry), " AND undone = ", back ? "0" : "1"});
    if (QueryResult marked = database.GetTable(statement); !marked.Ok()) return std::move(marked.errorText);
    return sqlite3_changes(database.Handle()) == 1 ? "" : "the entry of the ledger was changed meanwhile";
}

/// The rows of the slot's monitors from the entry on, until the carry was set to 0.
void FollowCarry(CarryMend& mend, std::vector<LedgerEntry>::const_iterator next,
                 const std::vector<LedgerEntry>::const_iterator end) {
    for (; next != end; ++next) {
        const std::string stamp = DateTimeText(next->time);
        if (next->kind == LedgerKind::Swap && next->serial != mend.rows.back().serial) {
            mend.rows.back().to = stamp;
            mend.rows.push_back({.serial = next->serial, .from = stamp, .to = {}});
        }
        if (next->kind == LedgerKind::Zeroed && next->counter.value_or(mend.counter) == mend.counter) {
            mend.rows.back().to = stamp;
            mend.stands = false;
            return;
        }
    }
}

bool IsSerial(const std::string& text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::optional<CarryMend> MendOf(std::int64_t id, const std::vector<LedgerEntry>& history) {
    const auto found = std::ranges::find(history, id, &LedgerEntry::id);
    if (found == history.end() || found->kind != LedgerKind::Wrap || !found->counter) return std::nullopt;
    CarryMend mend;
    mend.entry = id;
    mend.slot = found->slot;
    mend.counter = *found->counter;
    mend.back = !found->undone;
    mend.least = found->carryAfter.value_or(1);
    for (auto before = found; before != history.begin();) {
        --before;
        if (before->counter.value_or(mend.counter) != mend.counter) continue;
        if (before->kind == LedgerKind::Zeroed) break;
        if (before->kind == LedgerKind::Wrap && before->undone) --mend.least;
    }
    mend.rows.push_back({.serial = found->serial,
                         .from = found->undone ? found->undoneFrom : DateTimeText(found->time),
                         .to = {}});
    FollowCarry(mend, found + 1, history.end());
    // What was before the carry was taken back has nothing to be put back.
    const std::string first = mend.rows.front().from;
    for (RowSpan& span : mend.rows)
        span.from = std::max(span.from, first);
    std::erase_if(mend.rows, [](const RowSpan& span) {
        return !IsSerial(span.serial) || (!span.to.empty() && span.to <= span.from);
    });
    return mend;
}

SqlJob CountRowsToMend(std::vector<CarryMend> mends) {
    return [mends = std::move(mends)](SqlSession& session) {
        const auto& database = session.Database();
        if (!database) return QueryResult::Failure("unable to open database file");
        session.Begin(u"Looking for the rows with that carry"_s);
        const std::set<std::string> tables = TablesOf(database);
        QueryResult counts;
        for (const CarryMend& mend : mends) {
            std::pair<std::string, std::string> counted;  // by its first column
            for (const Change& change : AllChanges(mend, tables)) {
                if (std::exchange(counted, {change.table, change.serial}) ==
                    std::pair<std::string, std::string>(change.table, change.serial))
                    continue;
                QueryResult count = database.GetTable(SqlText(
                    {"SELECT '", change.table, "', '", change.serial,
                     "', COUNT(*), MIN(date), MAX(date) FROM ", change.table, " WHERE ", change.where}));
                if (!count.Ok()) return count;
                if (count.rows.front()[2] != "0") counts.rows.push_back(std::move(count.rows.front()));
            }
        }
        return counts;
    };
}

SqlJob MendRows(std::string ledgerPath, std::vector<CarryMend> mends, std::vector<MendMark> marks,
                bool back) {
    PutInOrder(mends);
    return [ledgerPath = std::move(ledgerPath), mends = std::move(mends), marks = std::move(marks),
            back](SqlSession& session) {
        const auto& database = session.Database();
        if (!database) return QueryResult::Failure("unable to open database file");
        session.Begin(u"Correcting the rows with that carry"_s);
        for (const std::string& statement :
             {SqlText({"ATTACH ", SqlQuoted(ledgerPath), " AS ledger"}), std::string("BEGIN IMMEDIATE")})
            if (QueryResult begun = database.GetTable(statement); !begun.Ok()) return begun;
        const int before = sqlite3_total_changes(database.Handle());
        const std::set<std::string> tables = TablesOf(database);
        for (const MendMark& mark : marks)
            if (std::string error = Mark(database, mark, back); !error.empty())
                return QueryResult::Failure(std::move(error));
        for (const CarryMend& mend : mends) {
            for (const Change& change : AllChanges(mend, tables)) {
                QueryResult changed = database.GetTable(
                    SqlText({"UPDATE ", change.table, " SET ", change.set, " WHERE ", change.where}));
                if (!changed.Ok()) return changed;
                if (session.MustStop()) return QueryResult::Failure(SqlWorker::kInterrupted);
            }
        }
        const int changes =
            sqlite3_total_changes(database.Handle()) - before - static_cast<int>(marks.size());
        QueryResult kept = database.GetTable("COMMIT");
        if (kept.Ok()) kept.rows = {{std::to_string(changes)}};
        return kept;
    };
}

SqlJob ReadCarriesDue() {
    return [](SqlSession& session) {
        if (!session.Database()) return QueryResult();  // there is no ledger
        if (std::string wrong = WrongLedger(session.Database()); !wrong.empty())
            return QueryResult::Failure(std::move(wrong));
        return session.Database().GetTable(
            "SELECT slot, channel, polarized, carry_from, carry_due FROM entries WHERE carry_due IS NOT "
            "NULL");
    };
}

SqlJob KeepCarry(std::int64_t id) {
    return [id](SqlSession& session) {
        const auto& file = session.Database();
        if (!file) return QueryResult::Failure("unable to open database file");
        QueryResult kept =
            file.GetTable(SqlText({"UPDATE entries SET judgement = 'likely' WHERE id = ", std::to_string(id),
                                   " AND kind = 'wrap' AND judgement = 'doubtful'"}));
        if (kept.Ok() && sqlite3_changes(file.Handle()) == 0)
            kept.errorText = SqlText({"Entry ", std::to_string(id), " is no doubtful carry."});
        return kept;
    };
}

SqlJob ForgetCarriesDue() {
    return [](SqlSession& session) {
        if (!session.Database()) return QueryResult::Failure("unable to open database file");
        return session.Database().GetTable(
            "UPDATE entries SET carry_from = NULL, carry_due = NULL WHERE carry_due IS NOT NULL");
    };
}

}  // namespace corvane
