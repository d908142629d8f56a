#include "history/table_rows.h"

#include <sqlite3.h>

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

/// What the number of a row is called in the table: a column of its own may have taken a name.
const char* RowNumber(const TableRows& rows) {
    for (const char* name : {"rowid", "_rowid_", "oid"}) {
        const auto isName = [name](const std::string& column) {
            return sqlite3_stricmp(column.c_str(), name) == 0;
        };
        if (std::ranges::none_of(rows.columns, isName)) return name;
    }
    return "rowid";  // no row has a number that could be asked for
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
        std::string sql = "SELECT ";
        sql.append(RowNumber(*rows)).append(" FROM ").append(Name(rows->filter.table));
        sql.append(Condition(*rows)).append(" ORDER BY 1 DESC");
        SqlCursor ids(session.Database(), sql);
        while (ids.Next())
            rows->ids.push_back(ids.Integer(0));
        result.errorText = ids.ErrorText();
        return result;
    };
}

SqlJob ReadRows(const TableRows& rows, std::size_t first, std::size_t count) {
    const std::size_t end = std::min(first + count, rows.ids.size());
    const std::string number = RowNumber(rows);
    std::string sql = "SELECT ";
    sql.append(number).append(", * FROM ").append(Name(rows.filter.table));
    sql.append(" WHERE ").append(number).append(" IN (");
    for (std::size_t row = first; row < end; ++row) {
        if (row > first) sql += ',';
        sql += std::to_string(rows.ids[row]);
    }
    sql += ") ORDER BY 1 DESC";
    return [sql = std::move(sql)](SqlSession& session) {
        if (!session.Database()) return QueryResult{.rows = {}, .errorText = "unable to open database file"};
        return session.Database().GetTable(sql);
    };
}

std::string AllRows(const TableRows& rows) {
    const std::int64_t newest = rows.ids.empty() ? 0 : rows.ids.front();
    const std::string number = RowNumber(rows);
    std::string sql = "SELECT * FROM ";
    sql.append(Name(rows.filter.table)).append(Condition(rows));
    sql.append(" AND ").append(number).append(" <= ").append(std::to_string(newest));
    return sql.append(" ORDER BY ").append(number).append(" DESC");
}

}  // namespace corvane
