#include "store/statement_job.h"

#include <sqlite3.h>

#include <utility>

#include "store/sql_cursor.h"

namespace corvane {

namespace {

/// What is there already is no failure.
bool IsFailure(const QueryResult& result) {
    return !result.Ok() && !result.errorText.ends_with("already exists");
}

constexpr std::size_t kMostNamed = 60;  // characters of a statement that its failure names

std::string Named(const std::string& statement) {
    return statement.size() <= kMostNamed ? statement : statement.substr(0, kMostNamed) + "...";
}

std::string Failure(const std::string& statement, const QueryResult& result) {
    return "Error Processing " + Named(statement) + ": " + result.errorText;
}

/// The error text of a statement, empty where it succeeded.
std::string RunOne(SqlSession& session, const Statement& statement, double rows) {
    if (session.MustStop()) return SqlWorker::kInterrupted;  // a short statement would not notice it
    session.Begin(statement.notice, rows * statement.passes);
    QueryResult result = session.Database().GetTable(statement.sql);
    // SQLite reads a name behind VACUUM as that of a database; it means the file.
    if (statement.sql.starts_with("VACUUM ") && result.errorText.starts_with("unknown database"))
        result = session.Database().GetTable("VACUUM;");
    if (session.MustStop()) return SqlWorker::kInterrupted;
    return IsFailure(result) ? Failure(statement.sql, result) : std::string();
}

/// An upper limit of the rows of `table`, found at once.
double RowsOf(const SqlSession& session, const std::string& table) {
    SqlCursor highest(session.Database(), "SELECT MAX(rowid) FROM " + table);
    return highest.Next() ? static_cast<double>(highest.Integer(0)) : 0;
}

}  // namespace

SqlJob StatementJob(std::vector<Statement> statements, std::string table, Effect effect) {
    return [statements = std::move(statements), table = std::move(table), effect](SqlSession& session) {
        const auto& database = session.Database();
        if (!database) return QueryResult::Failure("Error DB2");
        const double rows = RowsOf(session, table);
        const int before = sqlite3_total_changes(database.Handle());
        if (effect == Effect::Whole) {
            if (QueryResult begun = database.GetTable("BEGIN IMMEDIATE"); !begun.Ok())
                return QueryResult::Failure(Failure("BEGIN IMMEDIATE", begun));
        }
        for (const Statement& statement : statements) {
            // Closing the connection takes back what an unfinished transaction did.
            if (std::string error = RunOne(session, statement, rows); !error.empty())
                return QueryResult::Failure(std::move(error));
        }
        if (effect == Effect::Whole) {
            if (QueryResult kept = database.GetTable("COMMIT"); !kept.Ok())
                return QueryResult::Failure(Failure("COMMIT", kept));
        }
        const int changed = sqlite3_total_changes(database.Handle()) - before;
        return QueryResult{.rows = {{std::to_string(changed)}}, .errorText = {}};
    };
}

SqlJob InTurn(SqlJob first, SqlJob second) {
    return [first = std::move(first), second = std::move(second)](SqlSession& session) {
        QueryResult result = first(session);
        if (!result.Ok()) return result;
        QueryResult last = second(session);
        return last.Ok() ? result : last;
    };
}

Statement Vacuum(const std::string& table, const QString& notice) {
    return {.notice = notice, .sql = "VACUUM " + table + ";"};
}

}  // namespace corvane
