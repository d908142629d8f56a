#include "store/upkeep/maintenance.h"

#include <cmath>
#include <utility>

#include "base/channels.h"
#include "base/clock.h"
#include "base/date_entry.h"
#include "base/number_entry.h"
#include "base/number_format.h"
#include "base/operator.h"
#include "store/capture_database.h"
#include "store/unwritten_records.h"
#include "store/upkeep/database_backups.h"
#include "store/upkeep/database_work.h"
#include "store/upkeep/write_in_job.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const std::string kMinuteTable = "monitordata_minute";
const std::string kHourlyTable = "monitordata_hourly";

/// What is shown before an operation that may take long.
QString Announcement(const QString& operation) {
    return operation +
           u"\nThis process may take several seconds to several minutes depending on the size of the current "
           "database file......\n"
           "Refrain from using your computer during this process.\n"
           "If \"Not Responding\" appears in the Corvane's title bar, please ignore until the process has "
           "completed!"_s;
}

std::string Day(QDate date) {
    return DateText(date).toStdString();
}

std::string Midnight(QDate date) {
    return Day(date) + " 00:00:00";
}

/// The rows of one table that a statement is about.
std::vector<RowsAtStake> RowsWhere(const std::string& table, std::string where) {
    return {{.table = table, .where = std::move(where)}};
}

std::string OlderThan(const std::string& cutoff) {
    return "date<'" + cutoff + "'";
}

SqlJob DeleteOlderJob(const std::string& cutoff) {
    std::vector<Statement> statements = {
        {.notice = kPleaseWait,
         .sql = "delete from monitordata_minute where " + OlderThan(cutoff),
         .passes = 1},
    };
    return StatementJob(std::move(statements), kMinuteTable, Effect::Each);
}

/// What condensing takes.
std::string Surplus(QDate start, QDate end) {
    std::string where = "date < '";
    where += Day(end);
    where += " 23:59:59' AND date > '";
    where += Day(start);
    return where +
           " 00:00:00' AND id not in (SELECT MAX(id) from monitordata_minute GROUP BY "
           "strftime('%Y-%m-%d %H:%M:00', date), deviceaddress ORDER BY strftime('%Y-%m-%d %H:%M:00', date))";
}

SqlJob CondenseJob(const std::string& surplus) {
    std::vector<Statement> statements = {
        {.notice = kPleaseWait, .sql = "DELETE FROM monitordata_minute where " + surplus + ";", .passes = 2},
        Vacuum(kMinuteTable, u"Clearing unused database space. .... Please wait"_s),
    };
    return StatementJob(std::move(statements), kMinuteTable, Effect::Each);
}

std::string Between(QDate start, QDate end) {
    std::string where = "strftime('%Y-%m-%d', date) < '";
    where += Day(end);
    where += "' AND strftime('%Y-%m-%d', date) > '";
    where += Day(start);
    return where + "'";
}

SqlJob DeleteBetweenJob(const std::string& between) {
    std::vector<Statement> statements = {
        {.notice = kPleaseWait, .sql = "DELETE FROM monitordata_minute where " + between + " ;", .passes = 1},
        Vacuum(kMinuteTable, u"Clearing unused database space.......  Please wait."_s),
    };
    return StatementJob(std::move(statements), kMinuteTable, Effect::Each);
}

SqlJob EmptyJob() {
    std::vector<Statement> statements = {
        {.notice = kPleaseWait, .sql = "Delete From monitordata_hourly"},
        {.notice = kPleaseWait, .sql = "Delete From monitordata_minute"},
    };
    return StatementJob(std::move(statements), kMinuteTable, Effect::Each);
}

/// "ch1kwh > 5", of each column of energy.
std::vector<std::string> EnergiesAbove(double kwh) {
    std::vector<std::string> above;
    const std::string limit = " > " + ShortestText(kwh);
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        above.push_back(ChannelColumn(channel, "kwh") + limit);
        if (kChannelTable[channel].polarized) above.push_back(ChannelColumn(channel, "kwhp") + limit);
    }
    return above;
}

std::string AnyOf(const std::vector<std::string>& conditions) {
    std::string any = conditions.front();
    for (std::size_t i = 1; i < conditions.size(); ++i)
        any.append(" OR ").append(conditions[i]);
    return any;
}

SqlJob OutlierJob(const std::vector<std::string>& conditions) {
    std::vector<Statement> statements;
    for (const std::string& above : conditions) {
        // Spaced as they are known; the columns of polarized energy differ.
        const std::string column = above.substr(0, above.find(' '));
        std::string statement = "UPDATE  monitordata_hourly SET ";
        statement.append(column).append(column.ends_with('p') ? " = 0 where " : "= 0 where ").append(above);
        statements.push_back({.notice = u"Please wait....."_s, .sql = statement, .passes = 1});
    }
    return StatementJob(std::move(statements), kHourlyTable, Effect::Each);
}

Outcome CheckPeriod(QDate start, QDate end) {
    return start <= end ? Outcome::Success()
                        : Outcome::Failure(u"The first day, %1, lies after the last one, %2."_s.arg(
                              DateText(start), DateText(end)));
}

}  // namespace

const QDate Maintenance::kBeforeAll(1970, 1, 1);

Maintenance::Maintenance(CaptureDatabase& database, SettingsStore& settings, DatabaseWork& work,
                         DatabaseBackups& backups, const Clock& clock)
    : database_(database), settings_(settings), work_(work), backups_(backups), clock_(clock) {}

QCoro::Task<Outcome> Maintenance::Run(QString operation, SqlJob job, QString done, Operator& op) {
    const QueryResult result =
        co_await work_.Run(std::move(operation), database_.databasePath(), std::move(job), op);
    if (!result.Ok()) co_return Outcome::Failure(QString::fromStdString(result.errorText));
    op.Show(done.contains("%1"_L1)
                ? done.arg(QString::fromStdString(result.rows.front().front().value_or("0")))
                : done);
    co_return Outcome::Success();
}

QCoro::Task<Stake> Maintenance::AtStake(std::vector<RowsAtStake> rows, Operator& op) {
    const QueryResult counted =
        co_await work_.Run(u"Counting the rows."_s, database_.databasePath(), CountJob(std::move(rows)), op);
    co_return StakeOf(counted, settings_);
}

QCoro::Task<Outcome> Maintenance::AskFirst(std::vector<RowsAtStake> rows, QString question, QString refusal,
                                           Operator& op) {
    const Stake stake = co_await AtStake(std::move(rows), op);
    if (!stake.error.isEmpty()) co_return Outcome::Failure(stake.error);
    const bool sure = co_await op.AskYesNo(stake.text + u"\n\n"_s + question);
    if (!sure) co_return Outcome::Failure(refusal);
    if (stake.rows == 0) co_return Outcome::Success();
    co_return co_await backups_.BackupBeforeLoss(op);
}

QCoro::Task<Outcome> Maintenance::WriteIn(UnwrittenRecords& unwritten, Operator& op) {
    const bool saved = unwritten.Save();
    const std::int64_t bytes = unwritten.BytesInFile();
    if (bytes == 0) {
        if (saved) op.Show(u"No record is unwritten."_s);
        co_return saved ? Outcome::Success() : Outcome::Failure(unwritten.StateText());
    }
    const QueryResult result = co_await work_.Run(u"Writing in unwritten records"_s, database_.databasePath(),
                                                  WriteInJob(unwritten.Path().toStdString(), bytes), op);
    if (!result.Ok()) co_return Outcome::Failure(QString::fromStdString(result.errorText));
    if (!unwritten.Forget(bytes)) {
        co_return Outcome::Failure(
            u"The records were written, but %1 could not be removed. Written in again, none is doubled."_s
                .arg(unwritten.Path()));
    }
    const auto& counts = result.rows.front();
    op.Show(u"%1 records were written to the database; %2 were there already."_s.arg(
        QString::fromStdString(counts[0].value_or("0")), QString::fromStdString(counts[1].value_or("0"))));
    if (counts[2] != "0") {
        op.Show(u"%1 were of tables for power and energy that this database does not have."_s.arg(
            QString::fromStdString(counts[2].value_or("0"))));
    }
    co_return Outcome::Success();
}

QCoro::Task<Outcome> Maintenance::Granulate(QDate start, QDate end, Operator& op) {
    Outcome agreed = CheckPeriod(start, end);
    if (!agreed) co_return agreed;
    agreed = co_await AskFirst(
        RowsWhere(kMinuteTable, Surplus(start, end)),
        u"Condensing deletes these rows, from %1 to %2: all but the last of each device and minute. Do you wish to continue?"_s
            .arg(DateText(start), DateText(end)),
        u"Nothing was condensed."_s, op);
    if (!agreed) co_return agreed;
    co_return co_await Condense(start, end, op);
}

QCoro::Task<Outcome> Maintenance::Condense(QDate start, QDate end, Operator& op) {
    const QString operation = u"Condensing Granular Data."_s;
    op.Show(Announcement(operation));
    co_return co_await Run(operation, CondenseJob(Surplus(start, end)), u"Condensed: %1 rows are gone."_s,
                           op);
}

QCoro::Task<Outcome> Maintenance::DeleteMinutes(QDate start, QDate end, Operator& op) {
    Outcome agreed = CheckPeriod(start, end);
    if (!agreed) co_return agreed;
    const std::string between = Between(start, end);
    agreed = co_await AskFirst(
        RowsWhere(kMinuteTable, between),
        u"These rows, of the days between %1 and %2, will be deleted. Do you wish to continue?"_s.arg(
            DateText(start), DateText(end)),
        u"Deletion aborted."_s, op);
    if (!agreed) co_return agreed;
    const QString operation = u"Deleting Minute Data."_s;
    op.Show(Announcement(operation));
    co_return co_await Run(operation, DeleteBetweenJob(between), u"Deleted: %1 rows are gone."_s, op);
}

Outcome Maintenance::CheckDays(const QString& text) {
    const auto days = NumberEntry(text);
    if (!days.has_value()) return Outcome::Failure(u"Must be a numeric value"_s);
    if (*days < 1) return Outcome::Failure(u"Must be 1 day or greater."_s);
    if (*days > kMostDays) return Outcome::Failure(u"Number of days is too high. Try different value."_s);
    if (std::trunc(*days) != *days) return Outcome::Failure(u"Must be a whole number of days."_s);
    return Outcome::Success();
}

QCoro::Task<Outcome> Maintenance::DeleteOlderThan(QString days, Operator& op) {
    Outcome valid = CheckDays(days);
    if (!valid) co_return valid;
    const auto count = static_cast<int>(*NumberEntry(days));
    const LocalTime now = clock_.Now();
    const std::string cutoff =
        Day(QDate(now.year, now.month, now.day).addDays(-count)) + " " + ClockText(now);
    const Outcome agreed = co_await AskFirst(
        RowsWhere(kMinuteTable, OlderThan(cutoff)),
        u"WARNING !!!! This will delete all of the \"Minute Data\" older than %1 days. (%2)\nDo you wish to "
        "continue?"_s.arg(count)
            .arg(QString::fromStdString(cutoff)),
        u"Deletion aborted."_s, op);
    if (!agreed) co_return agreed;
    co_return co_await Run(u"Deleting Minute Data."_s, DeleteOlderJob(cutoff),
                           u"Deleted: %1 rows are gone."_s, op);
}

QCoro::Task<Outcome> Maintenance::AskForNights(QDate first, bool condenses, Operator& op) {
    const std::string where = condenses ? Surplus(kBeforeAll, first.addDays(-1)) : OlderThan(Midnight(first));
    const Stake stake = co_await AtStake(RowsWhere(kMinuteTable, where), op);
    if (!stake.error.isEmpty()) co_return Outcome::Failure(stake.error);
    if (stake.rows == 0) co_return Outcome::Success();
    const bool agreed = co_await op.AskYesNo(
        stake.text +
        u"\n\nThese rows will be deleted in the next night, and in each one what is as old by then. No "
        "backup is made. Do you wish to continue?"_s);
    co_return agreed ? Outcome::Success() : Outcome::Failure(u"The task of the night stays as it was."_s);
}

QCoro::Task<Outcome> Maintenance::DeleteBefore(QDate first, Operator& op) {
    SqlJob job = DeleteOlderJob(Midnight(first));
    co_return co_await Run(u"Deleting Minute Data."_s, std::move(job), u"Deleted: %1 rows are gone."_s, op);
}

QCoro::Task<Outcome> Maintenance::DeleteDBdata(Operator& op) {
    std::vector<RowsAtStake> rows = RowsWhere(kHourlyTable, "1");
    rows.push_back({.table = kMinuteTable});
    const Stake stake = co_await AtStake(std::move(rows), op);
    if (!stake.error.isEmpty()) co_return Outcome::Failure(stake.error);
    const bool willing = co_await op.AskYesNo(
        stake.text +
        u"\n\nWARNING !!!! This will delete all of the data collected. Are you willing to lose all collected "
        "data?"_s);
    if (!willing) co_return Outcome::Failure(u"Deletion aborted."_s);
    const bool backup = co_await op.AskYesNo(
        u"It is advised to backup your database before proceeding. Would you like to backup the database "
        u"file "
        "now?"_s,
        Answer::Yes);
    if (backup) {
        Outcome saved = co_await backups_.BackupDBfile(op);
        if (!saved) co_return saved;
    }
    const bool proceed = co_await op.AskYesNo(
        u"The database data will now be deleted. Do you wish to proceed? Click NO to abort the process."_s);
    if (!proceed) co_return Outcome::Failure(u"Aborting process"_s);
    co_return co_await Run(u"Deleting all data."_s, EmptyJob(), u"Your database is now empty."_s, op);
}

QCoro::Task<Outcome> Maintenance::ZeroOutliers(QString kwh, Operator& op) {
    const auto threshold = NumberEntry(kwh);
    if (!threshold.has_value() || *threshold <= 0) co_return Outcome::Failure(u"Select a kWh value!"_s);
    const std::vector<std::string> above = EnergiesAbove(*threshold);
    const Outcome agreed = co_await AskFirst(
        RowsWhere(kHourlyTable, AnyOf(above)),
        u"The energies above %1 kWh in these rows will be set to 0. Do you wish to continue?"_s.arg(
            kwh.trimmed()),
        u"No energy was changed."_s, op);
    if (!agreed) co_return agreed;
    co_return co_await Run(u"Zeroing outliers."_s, OutlierJob(above), u"Completed !"_s, op);
}

}  // namespace corvane
