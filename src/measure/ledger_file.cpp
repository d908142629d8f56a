#include "measure/ledger_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "base/number_entry.h"
#include "base/number_format.h"
#include "link/device_slots.h"
#include "measure/sql_text.h"
#include "store/whole_file.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

// What tells the file from other databases, and the version of its tables.
constexpr const char* kApplicationId = "1129796172";  // "CVLL"
constexpr const char* kVersion = "1";

constexpr const char* kTables[] = {
    "CREATE TABLE entries (id INTEGER PRIMARY KEY AUTOINCREMENT, unix INTEGER, time TEXT, kind TEXT, "
    "judgement TEXT, slot INTEGER, serial TEXT, channel TEXT, polarized INTEGER, counter_before INTEGER, "
    "counter_after INTEGER, elapsed_monitor INTEGER, elapsed_clock INTEGER, carry_before INTEGER, "
    "carry_after INTEGER, note TEXT, undone INTEGER NOT NULL DEFAULT 0, undone_from TEXT, "
    "carry_from INTEGER, carry_due INTEGER)",
    "CREATE TABLE heard (serial TEXT PRIMARY KEY, slot INTEGER, first INTEGER, last INTEGER)",
    "CREATE TABLE dropped (entries INTEGER)",
    "INSERT INTO dropped VALUES (0)",
};

constexpr const char* kColumns =
    "id, unix, kind, judgement, slot, serial, channel, polarized, counter_before, counter_after, "
    "elapsed_monitor, elapsed_clock, carry_before, carry_after, note, undone, undone_from";

/// Makes the file `path` with its tables. An error text, or empty.
std::string MakeFile(const std::string& path) {
    const std::string made = path + ".new";
    for (const char* end : {"", "-journal"}) {
        std::error_code ignored;
        fs::remove(made + end, ignored);  // of a program that was killed
    }
    const int file = open(made.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0) return made + ": " + std::strerror(errno);
    close(file);
    std::string error;
    {
        const auto connection = CaptureDatabase::OpenFile(made, false);
        std::vector<std::string> statements = {SqlText({"PRAGMA application_id = ", kApplicationId}),
                                               SqlText({"PRAGMA user_version = ", kVersion}), "BEGIN"};
        statements.insert(statements.end(), std::begin(kTables), std::end(kTables));
        statements.emplace_back("COMMIT");
        if (!connection) error = "unable to open database file";
        for (const std::string& statement : statements)
            if (error.empty()) error = connection.GetTable(statement).errorText;
    }
    if (error.empty()) error = PutInPlace(made, path, Existing::Kept);
    if (!error.empty()) {
        std::error_code ignored;
        fs::remove(made, ignored);
    }
    return error;
}

std::string NumberCell(const std::optional<double>& value) {
    return value ? ShortestText(*value) : "NULL";
}

template <typename Integer>
std::string WholeCell(const std::optional<Integer>& value) {
    return value ? std::to_string(*value) : "NULL";
}

std::string InsertStatement(const LedgerEntry& entry) {
    const std::string values[] = {
        std::to_string(entry.time.unixSeconds),
        SqlQuoted(DateTimeText(entry.time)),
        SqlQuoted(KindText(entry.kind)),
        SqlQuoted(JudgementText(entry.judgement)),
        std::to_string(entry.slot),
        SqlQuoted(entry.serial),
        entry.counter ? SqlQuoted(ChannelName(entry.counter->channel)) : "NULL",
        entry.counter ? std::to_string(static_cast<int>(entry.counter->polarized)) : "NULL",
        NumberCell(entry.counterBefore),
        NumberCell(entry.counterAfter),
        WholeCell(entry.elapsedMonitor),
        WholeCell(entry.elapsedClock),
        WholeCell(entry.carryBefore),
        WholeCell(entry.carryAfter),
        SqlQuoted(entry.note),
    };
    std::string statement =
        "INSERT INTO entries(unix, time, kind, judgement, slot, serial, channel, polarized, counter_before, "
        "counter_after, elapsed_monitor, elapsed_clock, carry_before, carry_after, note) VALUES (";
    for (const std::string& value : values) {
        if (&value != &values[0]) statement += ',';
        statement += value;
    }
    return statement + ")";
}

std::int64_t WholeOf(const QueryResult::Cell& cell) {
    return ParseInteger<std::int64_t>(cell.value_or("")).value_or(0);
}

/// 1..6, or 0 for any other.
int SlotOf(const QueryResult::Cell& cell) {
    const std::int64_t slot = WholeOf(cell);
    return slot >= 1 && slot <= kSlots ? static_cast<int>(slot) : 0;
}

std::optional<double> NumberOf(const QueryResult::Cell& cell) {
    return ParseNumber(cell.value_or(""));
}

/// One connection to the file, and the first error that a statement met on it.
class Writing {
public:
    explicit Writing(const CaptureDatabase::Connection& file) : file_(file) {}

    std::vector<std::vector<QueryResult::Cell>> Run(const std::string& sql) {
        if (!error_.empty()) return {};
        QueryResult result = file_.GetTable(sql);
        error_ = std::move(result.errorText);
        return std::move(result.rows);
    }

    void Add(const LedgerEntry& entry) {
        if (entry.kind != LedgerKind::Gap || entry.elapsedClock) {
            Run(InsertStatement(entry));
            return;
        }
        const auto last = Run(SqlText({"SELECT last FROM heard WHERE serial = ", SqlQuoted(entry.serial)}));
        if (last.empty()) return;
        LedgerEntry gap = entry;
        gap.elapsedClock = entry.time.unixSeconds - WholeOf(last.front().front());
        if (*gap.elapsedClock > kLeastGap) Run(InsertStatement(gap));
    }

    void Add(const std::string& serial, const HeardSpan& span) {
        const std::string slot = std::to_string(span.slot);
        const std::string last = std::to_string(span.last);
        Run(SqlText({"INSERT INTO heard VALUES (", SqlQuoted(serial), ",", slot, ",",
                     std::to_string(span.first), ",", last,
                     ") ON CONFLICT(serial) DO UPDATE SET slot = ", slot, ", last = ", last}));
    }

    /// Makes room: what goes is counted.
    void Trim() {
        const auto kept = Run("SELECT COUNT(*) FROM entries");
        if (kept.empty()) return;
        const std::int64_t excess = WholeOf(kept.front().front()) - kMostLedgerEntries;
        if (excess <= 0) return;
        const std::string count = std::to_string(excess);
        Run(SqlText(
            {"DELETE FROM entries WHERE id IN (SELECT id FROM entries ORDER BY kind = 'wrap', id LIMIT ",
             count, ")"}));
        Run(SqlText({"UPDATE dropped SET entries = entries + ", count}));
    }

    [[nodiscard]] const std::string& Error() const { return error_; }

private:
    const CaptureDatabase::Connection& file_;
    std::string error_;
};

QueryResult Add(const CaptureDatabase::Connection& file, const std::vector<LedgerEntry>& entries,
                const HeardSpans& heard) {
    if (!file) return QueryResult::Failure("unable to open database file");
    if (std::string wrong = WrongLedger(file); !wrong.empty()) return QueryResult::Failure(std::move(wrong));
    Writing writing(file);
    writing.Run("BEGIN IMMEDIATE");
    for (const LedgerEntry& entry : entries)
        writing.Add(entry);
    for (const auto& [serial, span] : heard)
        writing.Add(serial, span);
    writing.Trim();
    QueryResult result;
    result.rows = writing.Run(SqlText({"SELECT ", kColumns,
                                       " FROM entries WHERE kind = 'wrap' AND judgement = 'doubtful' AND "
                                       "undone = 0 ORDER BY id"}));
    writing.Run("COMMIT");  // closing the file takes back what was not committed
    result.errorText = writing.Error();
    return result;
}

bool Exists(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    return status.type() != fs::file_type::not_found;
}

/// A job that reads by one statement; no rows where there is no file.
SqlJob Reading(std::string path, std::string statement) {
    return [path = std::move(path), statement = std::move(statement)](SqlSession& session) {
        if (!Exists(path)) return QueryResult();
        const auto& file = session.Database();
        if (!file) return QueryResult::Failure("unable to open database file");
        if (std::string wrong = WrongLedger(file); !wrong.empty())
            return QueryResult::Failure(std::move(wrong));
        return file.GetTable(statement);
    };
}

}  // namespace

std::string WrongLedger(const CaptureDatabase::Connection& file) {
    QueryResult mark = file.GetTable(
        "SELECT a.application_id, v.user_version FROM pragma_application_id a, "
        "pragma_user_version v");
    if (!mark.Ok()) return std::move(mark.errorText);
    const auto& row = mark.rows.front();
    if (row[0] != kApplicationId) return "it is no ledger";
    if (row[1] != kVersion) return "it was made by another version of Corvane";
    return {};
}

SqlJob AddToLedger(std::string path, std::vector<LedgerEntry> entries, HeardSpans heard) {
    return [path = std::move(path), entries = std::move(entries),
            heard = std::move(heard)](SqlSession& session) {
        if (session.Database() || Exists(path)) return Add(session.Database(), entries, heard);
        if (std::string error = MakeFile(path); !error.empty()) return QueryResult::Failure(std::move(error));
        return Add(CaptureDatabase::OpenFile(path, false), entries, heard);
    };
}

SqlJob ReadLedger(std::string path, const LedgerQuery& query) {
    std::string where = " WHERE 1";
    if (!query.from.empty()) where += SqlText({" AND time >= ", SqlQuoted(query.from)});
    if (!query.to.empty()) where += SqlText({" AND time < ", SqlQuoted(query.to)});
    if (query.id != 0) where += SqlText({" AND id = ", std::to_string(query.id)});
    if (query.gapsOnly) where += " AND kind = 'gap'";
    if (query.carriesOfSlot != 0) {
        where += SqlText(
            {" AND kind IN ('wrap', 'zeroed', 'swap') AND slot = ", std::to_string(query.carriesOfSlot)});
    }
    std::string statement =
        SqlText({"SELECT * FROM (SELECT ", kColumns, " FROM entries", where, " ORDER BY id DESC LIMIT ",
                 std::to_string(query.most), ") ORDER BY id"});
    return Reading(std::move(path), std::move(statement));
}

SqlJob ReadHeard(std::string path) {
    return Reading(std::move(path), "SELECT serial, slot, first, last FROM heard ORDER BY slot, serial");
}

std::pair<std::string, HeardSpan> HeardSpanOf(const std::vector<QueryResult::Cell>& row) {
    return {row[0].value_or(""), {.slot = SlotOf(row[1]), .first = WholeOf(row[2]), .last = WholeOf(row[3])}};
}

LedgerEntry LedgerEntryOf(const std::vector<QueryResult::Cell>& row) {
    const auto integer = [&row](std::size_t column) -> std::optional<std::int64_t> {
        return row[column] ? std::optional(WholeOf(row[column])) : std::nullopt;
    };
    const auto small = [&integer](std::size_t column) -> std::optional<int> {
        const auto value = integer(column);
        return value ? std::optional(static_cast<int>(*value)) : std::nullopt;
    };
    LedgerEntry entry;
    entry.id = WholeOf(row[0]);
    entry.time = LocalTimeAt(WholeOf(row[1]));
    const auto kind = KindOf(row[2].value_or(""));
    const auto judgement = JudgementOf(row[3].value_or(""));
    if (!kind || !judgement) return entry;
    entry.kind = *kind;
    entry.judgement = *judgement;
    entry.slot = SlotOf(row[4]);
    entry.serial = row[5].value_or("");
    if (const auto channel = FindChannel(row[6].value_or("")))
        entry.counter = {.channel = *channel, .polarized = row[7] == "1"};
    entry.counterBefore = NumberOf(row[8]);
    entry.counterAfter = NumberOf(row[9]);
    entry.elapsedMonitor = integer(10);
    entry.elapsedClock = integer(11);
    entry.carryBefore = small(12);
    entry.carryAfter = small(13);
    entry.note = row[14].value_or("");
    entry.undone = row[15] != "0";
    entry.undoneFrom = row[16].value_or("");
    return entry;
}

}  // namespace corvane
