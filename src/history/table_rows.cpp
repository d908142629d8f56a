#include "history/table_rows.h"

#include <algorithm>

#include "store/sql_cursor.h"

namespace corvane {

namespace {

/// A name of SQL as it may stand in a statement.
std::string Name(const std::string& name) {
    std::string quoted = "\"";
    for (const char c : name) {
        quoted += c;
        if (c == '"') quoted += c;
    }
    return quoted + "\"";
}

std::string Condition(const TableRows& rows) {
    const auto has = [&rows](const char* column) { return std::ranges::count(rows.columns, column) > 0; };
    const TableFilter& filter = rows.filter;
    std::string condition = " WHERE 1";
    if (!filter.address.empty() && has("deviceaddress")) {
        // The columns of minute_power have no type, and would not take the text for a number.
        condition += " AND deviceaddress = CAST(" + SqlQuoted(filter.address) + " AS NUMERIC)";
    }
    if (!filter.firstDay.empty() && has("date")) condition += " AND date >= " + SqlQuoted(filter.firstDay);
    if (!filter.endDay.empty() && has("date")) condition += " AND date < " + SqlQuoted(filter.endDay);
    return condition;
}

}  // namespace

SqlJob ReadTableNames() {
    return [](SqlSession& session) {
        if (!session.Database()) return QueryResult{.rows = {}, .errorText = "unable to open database file"};
        return session.Database().GetTable(
            "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite%' ORDER BY name");
    };
}

SqlJob FindRows(std::shared_ptr<TableRows> rows) {
    return [rows = std::move(rows)](SqlSession& session) {
        QueryResult result;
        SqlCursor columns(session.Database(), "PRAGMA table_info(" + Name(rows->filter.table) + ")");
        while (columns.Next())
            rows->columns.emplace_back(columns.Text(1));
        result.errorText = columns.ErrorText();
        if (!result.Ok()) return result;
        SqlCursor ids(session.Database(), "SELECT rowid FROM " + Name(rows->filter.table) + Condition(*rows) +
                                              " ORDER BY rowid DESC");
        while (ids.Next())
            rows->ids.push_back(ids.Integer(0));
        result.errorText = ids.ErrorText();
        return result;
    };
}

SqlJob ReadRows(const TableRows& rows, std::size_t first, std::size_t count) {
    const std::size_t end = std::min(first + count, rows.ids.size());
    std::string sql = "SELECT rowid, * FROM " + Name(rows.filter.table) + " WHERE rowid IN (";
    for (std::size_t row = first; row < end; ++row) {
        if (row > first) sql += ',';
        sql += std::to_string(rows.ids[row]);
    }
    sql += ") ORDER BY rowid DESC";
    return [sql = std::move(sql)](SqlSession& session) {
        if (!session.Database()) return QueryResult{.rows = {}, .errorText = "unable to open database file"};
        return session.Database().GetTable(sql);
    };
}

std::string AllRows(const TableRows& rows) {
    const std::int64_t newest = rows.ids.empty() ? 0 : rows.ids.front();
    return "SELECT * FROM " + Name(rows.filter.table) + Condition(rows) +
           " AND rowid <= " + std::to_string(newest) + " ORDER BY rowid DESC";
}

}  // namespace corvane
