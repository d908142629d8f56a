// Maintenance of the tables' columns: what types they have, and rebuilding them with the right ones.
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

struct Column {
    QString name;
    QString type;
};

/// The part of a CREATE TABLE statement between its parentheses.
QString ColumnList(const char* create) {
    const QString statement = QString::fromLatin1(create);
    return statement.section(u'(', 1).chopped(1);
}

std::vector<Column> ColumnsOf(const char* create) {
    std::vector<Column> columns;
    for (const QString& column : ColumnList(create).split(u','))
        columns.push_back({column.section(u' ', 0, 0), column.section(u' ', 1)});
    return columns;
}

/// "INSERT INTO `to` SELECT ... FROM `from` ;" over all columns.
std::string Transfer(const TableText& table, const std::string& to, const std::string& from) {
    QStringList names;
    for (const Column& column : ColumnsOf(table.create))
        names.append(column.name);
    return "INSERT INTO " + to + " SELECT " + names.join(u", "_s).toStdString() + " FROM " + from + " ;";
}

/// Rows in a table of this name are those of a repair that another program began: they are in the way, and
/// may be the only ones.
const std::string kLeftovers = "SELECT 1 FROM tmp LIMIT 1";

SqlJob RepairJob(const TableText& table) {
    const QString transfer = u"Transfering data from temporary table to new %1 table."_s.arg(table.word);
    const std::string columns = ColumnList(table.create).toStdString();
    std::vector<Statement> statements = {
        {.notice = u"Creating a temporary table."_s, .sql = "CREATE TABLE tmp (" + columns + ")"},
        {.notice = u"Creating a temporary table."_s, .sql = Transfer(table, "tmp", table.name), .passes = 1},
        {.notice = transfer, .sql = "DROP TABLE " + table.name + ";"},
        {.notice = transfer, .sql = table.create},
        {.notice = transfer, .sql = Transfer(table, table.name, "tmp"), .passes = 1},
        {.notice = transfer, .sql = "DROP TABLE tmp;"},
    };
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
    QStringList wrong;
    for (const Column& column : ColumnsOf(text.create)) {
        if (column.type != "DOUBLE"_L1) continue;
        for (const auto& row : info.rows) {  // number, name, type
            if (row[1] == column.name.toStdString() && row[2] == "NUMERIC") wrong.append(column.name);
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
    const QueryResult leftovers = database_.Run(kLeftovers);
    if (!leftovers.rows.empty()) {
        co_return Outcome::Failure(
            u"The database holds a table tmp with rows, left behind by a repair that another program began. "
            u"It "
            "is not touched: put its rows back or drop it, then repair again."_s);
    }
    const bool backup =
        co_await op.AskYesNo(u"Would you like to back up the current database first?"_s, Answer::Yes);
    if (backup) {
        Outcome saved = co_await backups_.BackupDBfile(op);
        if (!saved) co_return saved;
    }
    if (!co_await op.AskYesNo(u"Are you sure you wish to continue?"_s)) {
        co_return Outcome::Failure(u"The %1 table was not repaired."_s.arg(table.word));
    }
    co_return co_await Run(u"Repairing the %1 table."_s.arg(table.word), RepairJob(table),
                           u"The %1 table has been repaired."_s.arg(table.word), op);
}

}  // namespace corvane
