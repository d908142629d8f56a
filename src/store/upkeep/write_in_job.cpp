#include "store/upkeep/write_in_job.h"

#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr const char* kTables[] = {"monitordata_minute", "monitordata_hourly", "minute_power",
                                   "minute_energy"};

/// A record as the capture words it: "insert into TABLE(COLUMNS) values (VALUES);".
struct Record {
    std::string table;
    std::string columns;
    std::string values;
};

bool Take(std::string_view& text, std::string_view word) {
    if (!text.starts_with(word)) return false;
    text.remove_prefix(word.size());
    return true;
}

/// Whether the text is numbers, and texts of digits and what stands in a date, separated by commas: nothing
/// that could do anything else than be a value.
bool AreValues(std::string_view text) {
    return std::ranges::all_of(text, [](char c) {
        return std::isdigit(static_cast<unsigned char>(c)) != 0 ||
               std::string_view("'-+.eE:, ").find(c) != std::string_view::npos;
    });
}

bool AreNames(std::string_view text) {
    return std::ranges::all_of(
        text, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == ','; });
}

std::optional<Record> Parse(std::string_view line) {
    Record record;
    if (!Take(line, "insert into ")) return std::nullopt;
    for (const char* table : kTables)
        if (record.table.empty() && Take(line, std::string(table) + "(")) record.table = table;
    const auto columns = line.find(") values (");
    if (record.table.empty() || columns == std::string_view::npos || !line.ends_with(");"))
        return std::nullopt;
    record.columns = line.substr(0, columns);
    line.remove_prefix(columns + std::string_view(") values (").size());
    record.values = line.substr(0, line.size() - 2);
    if (!AreNames(record.columns) || !AreValues(record.values)) return std::nullopt;
    return record;
}

/// "a.x IS b.x AND a.y IS b.y" for the columns "x,y". One that is named twice is compared once.
std::string Same(const std::string& columns) {
    std::string condition;
    std::string names = columns + ",";
    for (std::size_t start = 0, end = 0; (end = names.find(',', start)) != std::string::npos;
         start = end + 1) {
        const std::string name = names.substr(start, end - start);
        if (!condition.empty()) condition += " AND ";
        condition.append("a.").append(name).append(" IS b.").append(name);
    }
    return condition;
}

/// The records of one table and list of columns, in their order, in a table of the connection's own.
class Batch {
public:
    Batch(const CaptureDatabase::Connection& database, std::string table, std::string columns,
          std::size_t number)
        : database_(database),
          table_(std::move(table)),
          columns_(std::move(columns)),
          own_("temp.written_in_" + std::to_string(number)) {}

    [[nodiscard]] std::string Begin() const {
        return Run("CREATE TABLE " + own_ + " AS SELECT * FROM main." + table_ + " WHERE 0");
    }

    [[nodiscard]] std::string Add(const std::string& values) const {
        return Run("INSERT INTO " + own_ + "(" + columns_ + ") VALUES (" + values + ")");
    }

    /// Leaves out what the table has, by one walk over it, and writes the rest. Counts both.
    [[nodiscard]] std::string Write(int& written, int& present) const {
        const std::string index = own_ + "_dates";
        const std::string bare = own_.substr(std::string_view("temp.").size());
        const std::string statements[] = {
            "CREATE INDEX " + index + " ON " + bare + "(date)",
            "DELETE FROM " + own_ + " WHERE rowid IN (SELECT b.rowid FROM main." + table_ + " a CROSS JOIN " +
                own_ + " b ON a.date = b.date AND " + Same(columns_) + ")",
            "INSERT INTO main." + table_ + "(" + columns_ + ") SELECT " + columns_ + " FROM " + own_ +
                " ORDER BY rowid",
        };
        int changes[3] = {};
        for (std::size_t i = 0; i < 3; ++i) {
            if (std::string error = Run(statements[i]); !error.empty()) return error;
            changes[i] = sqlite3_changes(database_.Handle());
        }
        present += changes[1];
        written += changes[2];
        return {};
    }

private:
    [[nodiscard]] std::string Run(const std::string& sql) const { return database_.GetTable(sql).errorText; }

    const CaptureDatabase::Connection& database_;
    std::string table_;
    std::string columns_;
    std::string own_;
};

/// Those of the tables that a database need not have which this one has not: it wants no rows of them.
std::set<std::string> LackingTables(const CaptureDatabase::Connection& database) {
    std::set<std::string> tables = {"minute_power", "minute_energy"};
    const QueryResult found = database.GetTable("SELECT lower(name) FROM sqlite_master WHERE type = 'table'");
    for (const auto& row : found.rows)
        tables.erase(row.front().value_or(""));
    return found.Ok() ? tables : std::set<std::string>();
}

}  // namespace

SqlJob WriteInJob(std::string path, std::int64_t bytes) {
    return [path = std::move(path), bytes](SqlSession& session) {
        session.Begin(u"Writing in what could not be written before"_s);
        const auto& database = session.Database();
        if (!database) return QueryResult::Failure("unable to open database file");
        for (const char* statement : {"PRAGMA temp_store = MEMORY", "BEGIN IMMEDIATE"})
            if (QueryResult begun = database.GetTable(statement); !begun.Ok()) return begun;

        const std::set<std::string> lacking = LackingTables(database);
        int left = 0;
        std::map<std::pair<std::string, std::string>, Batch> batches;
        std::ifstream file(path, std::ios::binary);
        std::string line;
        for (std::int64_t read = 0, number = 1; read < bytes && std::getline(file, line); ++number) {
            if (session.MustStop()) return QueryResult::Failure(SqlWorker::kInterrupted);
            read += static_cast<std::int64_t>(line.size()) + 1;
            const std::optional<Record> record = Parse(line);
            if (!record) {
                return QueryResult::Failure(path + ", line " + std::to_string(number) +
                                            " is no record of the capture; nothing was written.");
            }
            if (lacking.contains(record->table)) {
                ++left;
                continue;
            }
            const auto [place, isNew] = batches.try_emplace({record->table, record->columns}, database,
                                                            record->table, record->columns, batches.size());
            std::string error = isNew ? place->second.Begin() : std::string();
            if (error.empty()) error = place->second.Add(record->values);
            if (!error.empty())
                return QueryResult::Failure(path + ", line " + std::to_string(number) + ": " + error);
        }
        int written = 0;
        int present = 0;
        for (const auto& [of, batch] : batches)
            if (std::string error = batch.Write(written, present); !error.empty())
                return QueryResult::Failure(error);
        if (session.MustStop()) return QueryResult::Failure(SqlWorker::kInterrupted);
        if (QueryResult kept = database.GetTable("COMMIT"); !kept.Ok()) return kept;
        return QueryResult{.rows = {{std::to_string(written), std::to_string(present), std::to_string(left)}},
                           .errorText = {}};
    };
}

}  // namespace corvane
