#include <QFileInfo>
#include <QJsonArray>

#include <limits>

#include "app/program.h"
#include "base/date_entry.h"
#include "base/number_entry.h"
#include "remote/command.h"
#include "remote/given_text.h"
#include "store/schema.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

QString CurrentPath(const Program& program) {
    return QString::fromStdString(program.database.databasePath());
}

/// A command that has said all there is to say, or why it failed.
Reply Told(const Outcome& outcome) {
    return outcome ? Reply() : Reply::Failure(outcome.Error());
}

Reply InForce(const Program& program, const Outcome& outcome) {
    return Reply::Of(outcome, u"Database: %1"_s.arg(CurrentPath(program)));
}

QCoro::Task<Reply> New(Program& program, QStringList arguments, Operator& op) {
    if (arguments.isEmpty()) co_return InForce(program, co_await program.databaseFiles.NewDatabase(op));
    GivenText given(op, arguments.first());
    co_return InForce(program, co_await program.databaseFiles.NewDatabase(given));
}

QCoro::Task<Reply> OpenDatabase(Program& program, QStringList arguments, Operator& op) {
    if (arguments.isEmpty()) co_return InForce(program, co_await program.databaseFiles.OpenDatabase(op));
    GivenText given(op, arguments.first());
    co_return InForce(program, co_await program.databaseFiles.OpenDatabase(given));
}

/// What a statement gives that is not for the event loop, as it may read the whole file.
QCoro::Task<QueryResult> ReadRows(Program& program, QString what, std::string statement, Operator& op) {
    SqlJob job = [what, statement](SqlSession& session) {
        if (!session.Database()) return QueryResult{.rows = {}, .errorText = "Error DB2"};
        session.Begin(what);
        return session.Database().GetTable(statement);
    };
    co_return co_await program.databaseWork.Run(what, program.database.databasePath(), std::move(job), op);
}

QString Cell(const QueryResult::Cell& cell) {
    return QString::fromStdString(cell.value_or(""));
}

QCoro::Task<Reply> Info(Program& program, QStringList, Operator& op) {
    const QString path = CurrentPath(program);
    const qint64 size = QFileInfo(path).size();
    Reply reply;
    reply.lines = {u"Database: %1"_s.arg(path), u"Size: %1 bytes"_s.arg(size)};
    if (!program.databaseFiles.TestValidDBfile())
        reply.lines.append(u"The name of the file does not end in .db3, as that of a database should."_s);
    QJsonArray tables;
    for (const QString& table : {u"monitordata_minute"_s, u"monitordata_hourly"_s}) {
        const QueryResult rows =
            co_await ReadRows(program, u"Counting rows of %1"_s.arg(table),
                              "SELECT deviceaddress, COUNT(*), MIN(date), MAX(date) FROM " +
                                  table.toStdString() + " GROUP BY deviceaddress",
                              op);
        if (!rows.Ok()) co_return Reply::Failure(QString::fromStdString(rows.errorText));
        if (rows.rows.empty()) reply.lines.append(u"%1: no rows"_s.arg(table));
        for (const auto& row : rows.rows) {
            reply.lines.append(u"%1, device %2: %3 rows, %4 to %5"_s.arg(table, Cell(row[0]), Cell(row[1]),
                                                                         Cell(row[2]), Cell(row[3])));
            tables.append(QJsonObject{{u"table"_s, table},
                                      {u"device"_s, Cell(row[0])},
                                      {u"rows"_s, Cell(row[1]).toLongLong()},
                                      {u"first"_s, Cell(row[2])},
                                      {u"last"_s, Cell(row[3])}});
        }
    }
    const QueryResult journal = program.database.Run("PRAGMA journal_mode");
    const QueryResult integrity =
        co_await ReadRows(program, u"Checking the integrity"_s, "PRAGMA integrity_check", op);
    const QString mode = journal.Ok() ? Cell(journal.rows.front().front()) : Cell(journal.errorText);
    const QString state = integrity.Ok() ? Cell(integrity.rows.front().front()) : Cell(integrity.errorText);
    reply.lines.append({u"Journal: %1"_s.arg(mode), u"Integrity: %1"_s.arg(state)});
    reply.data = {{u"path"_s, path},
                  {u"size"_s, size},
                  {u"devices"_s, tables},
                  {u"journal"_s, mode},
                  {u"integrity"_s, state}};
    co_return reply;
}

/// A table that Corvane neither makes nor needs.
struct ForeignTable {
    QString name;
    std::string statement;
    QString failure;  ///< what is said where it cannot be read; empty: SQLite's own words
};

std::vector<ForeignTable> ForeignTables(std::int64_t serial) {
    return {{u"storedtotal"_s, sql::StoredTotals(serial), {}},
            {u"wraparound"_s, sql::kWrapSeconds, {}},
            {u"realtime"_s, sql::kRealtimeRecord, u" This DB file is wrong."_s}};
}

QCoro::Task<Reply> Foreign(Program& program, QStringList arguments, Operator& op) {
    bool isNumber = false;
    const qint64 serial = arguments.first().toLongLong(&isNumber);
    if (!isNumber) co_return Reply::Failure(u"The serial number of a device is a number."_s);
    Reply reply;
    for (const ForeignTable& table : ForeignTables(serial)) {
        const QueryResult rows =
            co_await ReadRows(program, u"Reading %1"_s.arg(table.name), table.statement, op);
        QJsonArray data;
        for (const auto& row : rows.rows) {
            QStringList cells;
            for (const auto& cell : row)
                cells.append(Cell(cell));
            reply.lines.append(u"%1: %2"_s.arg(table.name, cells.join(u", "_s)));
            data.append(QJsonArray::fromStringList(cells));
        }
        const QString error = table.failure.isEmpty() ? Cell(rows.errorText) : table.failure;
        if (!rows.Ok())
            reply.lines.append(u"%1: %2"_s.arg(table.name, error));
        else if (rows.rows.empty())
            reply.lines.append(u"%1: no rows"_s.arg(table.name));
        reply.data[table.name] = rows.Ok() ? QJsonValue(data) : QJsonValue(error);
    }
    co_return reply;
}

QCoro::Task<Reply> Verify(Program& program, QStringList, Operator& op) {
    for (int position = 1; position <= kSlots; ++position) {
        const Outcome verified = co_await program.databaseFiles.VerifyDBdeviceAdrs(position, op);
        if (!verified) co_return Reply::Failure(verified.Error());
    }
    co_return Reply::Line(u"The serial numbers of Device A to F have been compared."_s);
}

QCoro::Task<Reply> Backup(Program& program, QStringList, Operator& op) {
    co_return Told(co_await program.backups.BackupDBfile(op));
}

QCoro::Task<Reply> RestoreDatabase(Program& program, QStringList arguments, Operator& op) {
    QString number = arguments.value(0);
    if (number.isEmpty()) {
        QStringList numbers;
        for (const int known : program.backups.Numbers()) {
            const QFileInfo file(program.backups.PathOf(known));
            numbers.append(QString::number(known));
            op.Show(u"%1: %2, %3 bytes, %4"_s.arg(numbers.last(), file.fileName(),
                                                  QString::number(file.size()),
                                                  file.lastModified().toString(u"yyyy-MM-dd HH:mm:ss"_s)));
        }
        if (numbers.isEmpty()) co_return Reply::Failure(u"There are no backups of this database."_s);
        const auto entered =
            co_await op.AskText(u"Which backup is to be restored: %1?"_s.arg(numbers.join(u", "_s)));
        if (!entered.has_value()) co_return Reply::Failure(u"No backup was chosen."_s);
        number = *entered;
    }
    const auto chosen = WholeNumberEntry(number, 0, std::numeric_limits<int>::max());
    if (!chosen.has_value()) co_return Reply::Failure(u"A backup is chosen by its number."_s);
    co_return Told(co_await program.databaseFiles.RestoreBackup(*chosen, op));
}

struct Period {
    QDate start;
    QDate end;
};

std::optional<Period> PeriodOf(const QStringList& arguments) {
    const auto start = ProperDate(arguments[0]);
    const auto end = ProperDate(arguments[1]);
    if (!start.has_value() || !end.has_value()) return std::nullopt;
    return Period{*start, *end};
}

const QString kNoDates = u"Dates are entered as yyyy-mm-dd."_s;

QCoro::Task<Reply> Condense(Program& program, QStringList arguments, Operator& op) {
    const auto period = PeriodOf(arguments);
    if (!period.has_value()) co_return Reply::Failure(kNoDates);
    co_return Told(co_await program.maintenance.Granulate(period->start, period->end, op));
}

QCoro::Task<Reply> DeleteMinutes(Program& program, QStringList arguments, Operator& op) {
    const auto period = PeriodOf(arguments);
    if (!period.has_value()) co_return Reply::Failure(kNoDates);
    co_return Told(co_await program.maintenance.DeleteMinutes(period->start, period->end, op));
}

QCoro::Task<Reply> DeleteOlder(Program& program, QStringList arguments, Operator& op) {
    co_return Told(co_await program.maintenance.DeleteOlderThan(arguments.first(), op));
}

QCoro::Task<Reply> Empty(Program& program, QStringList, Operator& op) {
    co_return Told(co_await program.maintenance.DeleteDBdata(op));
}

QCoro::Task<Reply> Outliers(Program& program, QStringList arguments, Operator& op) {
    co_return Told(co_await program.maintenance.ZeroOutliers(arguments.value(0), op));
}

QCoro::Task<Reply> TestTypes(Program& program, QStringList, Operator&) {
    Reply reply;
    for (const DataTable table : {DataTable::Hourly, DataTable::Minute})
        reply.lines.append(program.maintenance.TestColumnTypes(table).split(u'\n'));
    reply.data = {{u"lines"_s, QJsonArray::fromStringList(reply.lines)}};
    co_return reply;
}

QCoro::Task<Reply> Repair(Program& program, QStringList arguments, Operator& op) {
    const QString word = arguments.first().toLower();
    if (word == "hourly"_L1) co_return Told(co_await program.maintenance.RepairHourlyTable(op));
    if (word == "minute"_L1) co_return Told(co_await program.maintenance.RepairMinuteTable(op));
    co_return Reply::Failure(u"There are the tables hourly and minute."_s);
}

QCoro::Task<Reply> RepairSerials(Program& program, QStringList, Operator& op) {
    co_return Told(co_await program.maintenance.RepairSerialNumbers(op));
}

QCoro::Task<Reply> WriteUnwritten(Program& program, QStringList, Operator& op) {
    co_return Told(co_await program.maintenance.WriteIn(program.unwritten, op));
}

QCoro::Task<Reply> ResetLabels(Program& program, QStringList, Operator& op) {
    co_return Told(co_await program.maintenance.ResetLabels(op));
}

QString TaskLine(const NightlyRuns& runs, const NightlyRuns::Task& task) {
    if (QString hindrance = runs.Hindrance(task); !hindrance.isEmpty()) return hindrance;
    return u"%1: %2, data older than %3 days. %4"_s.arg(task.name, runs.IsOn(task) ? u"on"_s : u"off"_s,
                                                        runs.DaysText(task), task.label);
}

QCoro::Task<Reply> Auto(Program& program, QStringList arguments, Operator& op) {
    NightlyRuns& runs = program.nightlyRuns;
    if (arguments.size() == 1) co_return Reply::Failure(u"Say on or off, and a count of days."_s);
    if (arguments.size() > 1) {
        const bool condense = arguments[0].toLower() == "condense"_L1;
        if (!condense && arguments[0].toLower() != "delete"_L1)
            co_return Reply::Failure(u"There are the tasks condense and delete."_s);
        const NightlyRuns::Task& task = condense ? NightlyRuns::kCondense : NightlyRuns::kDelete;
        const QString word = arguments[1].toLower();
        if (word != "on"_L1 && word != "off"_L1) co_return Reply::Failure(u"A task is switched on or off."_s);
        const auto days = arguments.size() > 2 ? std::optional(arguments[2]) : std::nullopt;
        const Outcome switched = co_await runs.AskAndSwitch(task, word == "on"_L1, days, op);
        if (!switched) co_return Reply::Failure(switched.Error());
    }
    Reply reply{.data = NightlyObject(runs)};
    for (const NightlyRuns::Task* task : {&NightlyRuns::kCondense, &NightlyRuns::kDelete})
        reply.lines.append(TaskLine(runs, *task));
    co_return reply;
}

}  // namespace

QJsonObject NightlyObject(const NightlyRuns& runs) {
    QJsonObject tasks;
    for (const NightlyRuns::Task* task : {&NightlyRuns::kCondense, &NightlyRuns::kDelete}) {
        const auto days = SettingNumber(task->days, runs.DaysText(*task));
        tasks[task->condenses ? u"condense"_s : u"delete"_s] =
            QJsonObject{{u"on"_s, runs.IsOn(*task)},
                        {u"days"_s, days ? QJsonValue(*days) : QJsonValue()},
                        {u"hindrance"_s, runs.Hindrance(*task)}};
    }
    return tasks;
}

std::span<const Command> MaintenanceCommands() {
    static constexpr Command commands[] = {
        {"db new", "[FILE]", "Makes a fresh database, and offers to use it.", 0, 1, false, New},
        {"db open", "[FILE]", "Switches to another database.", 0, 1, false, OpenDatabase},
        {"db info", "", "The database: size, rows and dates per device, state.", 0, 0, false, Info},
        {"db foreign", "SERIAL", "Reads storedtotal, wraparound and realtime of other programs.", 1, 1, false,
         Foreign},
        {"db verify", "", "Compares serial numbers with those in the database.", 0, 0, false, Verify},
        {"db backup", "", "Copies the database beside it, under the next number.", 0, 0, false, Backup},
        {"db restore", "[NUMBER]", "Puts a backup in the place of the database.", 0, 1, false,
         RestoreDatabase},
        {"db condense", "START END", "Leaves one row a minute between two days.", 2, 2, false, Condense},
        {"db delete-minutes", "START END", "Deletes minute data between two days.", 2, 2, false,
         DeleteMinutes},
        {"db delete-older", "DAYS", "Deletes minute data older than that.", 1, 1, false, DeleteOlder},
        {"db empty", "", "Deletes all captured data.", 0, 0, false, Empty},
        {"db outliers", "KWH", "Sets hourly energies above that to 0.", 0, 1, false, Outliers},
        {"db test-types", "", "Tests the types of the tables' columns.", 0, 0, true, TestTypes},
        {"db repair", "hourly|minute", "Rebuilds a table with the right types.", 1, 1, false, Repair},
        {"db repair-serials", "", "Offers to lengthen serial numbers that are too short.", 0, 0, false,
         RepairSerials},
        {"db write-unwritten", "", "Writes the records of unwritten.sql into the database.", 0, 0, false,
         WriteUnwritten},
        {"db reset-labels", "", "Rebuilds the rows of labels.", 0, 0, false, ResetLabels},
        {"db auto", "[condense|delete on|off [DAYS]]", "What is done every night.", 0, 3, false, Auto},
    };
    return commands;
}

}  // namespace corvane
