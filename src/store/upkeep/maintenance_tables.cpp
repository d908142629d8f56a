// Maintenance of the tables' columns: what types they have, and rebuilding them with the right ones.
#include <algorithm>
#include <iterator>
#include <utility>

#include "base/operator.h"
#include "store/capture_database.h"
#include "store/schema.h"
#include "store/upkeep/database_backups.h"
#include "store/upkeep/maintenance.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

struct TableText {
    std::string name;
    const char* create;
    QString word;
};

TableText TextOf(DataTable table) {
    return table == DataTable::Hourly
               ? TableText{"monitordata_hourly", sql::kNewHourlyTable, u"hourly"_s}
               : TableText{"monitordata_minute", sql::kNewMinuteDataTable, u"minute"_s};
}

/// The part of a CREATE TABLE statement between its parentheses.
QString ColumnList(const char* create) {
    const QString statement = QString::fromLatin1(create);
    return statement.section(u'(', 1).chopped(1);
}

/// "INSERT INTO `to` SELECT ... FROM `from` ;" over all columns.
std::string Transfer(const TableText& table, const std::string& to, const std::string& from) {
    std::string statement = "INSERT INTO " + to + " SELECT ";
    for (const char* separator = ""; const sql::Column& column : sql::ColumnsOf(table.create)) {
        statement += separator + column.name;
        separator = ", ";
    }
    return statement + " FROM " + from + " ;";
}

/// Rows in a table of this name are those of a repair that another program began: they are in the way, and
/// may be the only ones. Without rows it goes.
Outcome LookForLeftovers(const CaptureDatabase& database) {
    const QueryResult rows = database.Run("SELECT 1 FROM tmp LIMIT 1");
    if (rows.errorText == "no such table: tmp") return Outcome::Success();
    if (!rows.Ok()) return Outcome::Failure(QString::fromStdString(rows.errorText));
    if (rows.rows.empty()) return Outcome::Success();
    return Outcome::Failure(
        u"The database holds a table tmp with rows, left behind by a repair that another program began. It "
        u"is not "
        "touched: put its rows back or drop it, then repair again."_s);
}

/// Columns that a rebuilt table would not have.
Outcome LookForOwnColumns(const CaptureDatabase& database, const TableText& table) {
    const QueryResult info = database.Run("PRAGMA table_info(" + table.name + ")");
    if (!info.Ok()) return Outcome::Failure(QString::fromStdString(info.errorText));
    const auto proper = sql::ColumnsOf(table.create);
    QStringList own;
    for (const auto& row : info.rows) {
        const auto isIt = [&row](const sql::Column& column) { return row[1] == column.name; };
        if (std::ranges::none_of(proper, isIt)) own.append(QString::fromStdString(row[1].value_or("")));
    }
    if (own.isEmpty()) return Outcome::Success();
    return Outcome::Failure(
        u"The %1 table has columns that are not Corvane's and would be lost: %2. It is not touched: keep "
        u"what they "
        "hold elsewhere and drop them, then repair again."_s.arg(table.word, own.join(u", "_s)));
}

/// The statements that make the indexes and triggers of a table, which go with it.
std::vector<Statement> Belongings(const CaptureDatabase& database, const TableText& table,
                                  const QString& notice) {
    std::vector<Statement> statements;
    const QueryResult found = database.Run(
        "SELECT sql FROM sqlite_master WHERE type IN ('index', 'trigger') AND sql NOT "
        "NULL AND tbl_name = " +
        SqlQuoted(table.name) + " COLLATE NOCASE");
    for (const auto& row : found.rows)
        statements.push_back({.notice = notice, .sql = row.front().value_or("")});
    return statements;
}

SqlJob RepairJob(const CaptureDatabase& database, const TableText& table) {
    const QString transfer = u"Transfering data from temporary table to new %1 table."_s.arg(table.word);
    const std::string columns = ColumnList(table.create).toStdString();
    std::vector<Statement> statements = {
        {.notice = u"Creating a temporary table."_s, .sql = "DROP TABLE IF EXISTS tmp"},
        {.notice = u"Creating a temporary table."_s, .sql = "CREATE TABLE tmp (" + columns + ")"},
        {.notice = u"Creating a temporary table."_s, .sql = Transfer(table, "tmp", table.name), .passes = 1},
        {.notice = transfer, .sql = "DROP TABLE " + table.name + ";"},
        {.notice = transfer, .sql = table.create},
        {.notice = transfer, .sql = Transfer(table, table.name, "tmp"), .passes = 1},
        {.notice = transfer, .sql = "DROP TABLE tmp;"},
    };
    std::ranges::move(Belongings(database, table, transfer), std::back_inserter(statements));
    // As a whole or not at all: at no moment is there a file in which the table is missing.
    return InTurn(StatementJob(std::move(statements), table.name, Effect::Whole),
                  StatementJob({Vacuum(table.name, u"Clearing unused database space. .... Please wait"_s)},
                               table.name, Effect::Each));
}

}  // namespace

QString Maintenance::TestColumnTypes(DataTable table) const {
    const TableText text = TextOf(table);
    const QueryResult info = database_.Run("PRAGMA table_info(" + text.name + ")");
    if (!info.Ok()) return QString::fromStdString(info.errorText);
    if (info.rows.empty()) {
        return u"The %1 table is missing: there is no %2 in the database. The next start of the program makes it."_s
            .arg(text.word, QString::fromStdString(text.name));
    }
    QStringList wrong;
    for (const sql::Column& column : sql::ColumnsOf(text.create)) {
        if (column.type != "DOUBLE") continue;
        for (const auto& row : info.rows) {  // number, name, type
            if (row[1] == column.name && row[2] == "NUMERIC")
                wrong.append(QString::fromStdString(column.name));
        }
    }
    if (wrong.isEmpty()) return u"Test Results: Passed........, fields are proper \"DOUBLE\" type."_s;
    // It says "hourly" of the minute table, too.
    return u"The hourly table field type is improper: %1\nThe %2 table needs to be repaired to change "
           u"certain "
           "field types from NUMERIC to DOUBLE"_s.arg(wrong.join(u", "_s), text.word);
}

QCoro::Task<Outcome> Maintenance::RepairTable(DataTable which, Operator& op) {
    const TableText table = TextOf(which);
    Outcome free = LookForLeftovers(database_);
    if (free) free = LookForOwnColumns(database_, table);
    if (!free) co_return free;
    std::vector<RowsAtStake> rows(1);
    rows.front().table = table.name;
    const Stake stake = co_await AtStake(std::move(rows), op);
    if (!stake.error.isEmpty()) co_return Outcome::Failure(stake.error);
    const bool backup = co_await op.AskYesNo(
        stake.text +
            u"\nAll of them go into a new table.\n\nWould you like to back up the current database first?"_s,
        Answer::Yes);
    if (backup) {
        Outcome saved = co_await backups_.BackupDBfile(op);
        if (!saved) co_return saved;
    }
    if (!co_await op.AskYesNo(u"Are you sure you wish to continue?"_s)) {
        co_return Outcome::Failure(u"The %1 table was not repaired."_s.arg(table.word));
    }
    co_return co_await Run(u"Repairing the %1 table."_s.arg(table.word), RepairJob(database_, table),
                           u"The %1 table has been repaired."_s.arg(table.word), op);
}

}  // namespace corvane
