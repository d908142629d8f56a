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

SqlJob DeleteOlderJob(const std::string& cutoff) {
    std::vector<Statement> statements = {
        {.notice = kPleaseWait,
         .sql = "delete from monitordata_minute where date<'" + cutoff + "'",
         .passes = 1},
    };
    return StatementJob(std::move(statements), kMinuteTable, Effect::Each);
}

SqlJob CondenseJob(QDate start, QDate end) {
    std::string condense = "DELETE FROM monitordata_minute where date < '";
    condense += Day(end);
    condense += " 23:59:59' AND date > '";
    condense += Day(start);
    condense +=
        " 00:00:00' AND id not in (SELECT MAX(id) from monitordata_minute GROUP BY "
        "strftime('%Y-%m-%d %H:%M:00', date), deviceaddress ORDER BY strftime('%Y-%m-%d %H:%M:00', date));";
    std::vector<Statement> statements = {
        {.notice = kPleaseWait, .sql = condense, .passes = 2},
        Vacuum(kMinuteTable, u"Clearing unused database space. .... Please wait"_s),
    };
    return StatementJob(std::move(statements), kMinuteTable, Effect::Each);
}

SqlJob DeleteBetweenJob(QDate start, QDate end) {
    std::string remove = "DELETE FROM monitordata_minute where strftime('%Y-%m-%d', date) < '";
    remove += Day(end);
    remove += "' AND strftime('%Y-%m-%d', date) > '";
    remove += Day(start);
    remove += "' ;";
    std::vector<Statement> statements = {
        {.notice = kPleaseWait, .sql = remove, .passes = 1},
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

SqlJob OutlierJob(double kwh) {
    std::vector<Statement> statements;
    // Spaced as they are known; the columns of polarized energy differ.
    const auto zero = [&statements, kwh](const std::string& column, const char* blank) {
        std::string statement = "UPDATE  monitordata_hourly SET ";
        statement.append(column).append(blank).append("= 0 where ").append(column).append(" > ");
        statement += ShortestText(kwh);
        statements.push_back({.notice = u"Please wait....."_s, .sql = statement, .passes = 1});
    };
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        zero(ChannelColumn(channel, "kwh"), "");
        if (kChannelTable[channel].polarized) zero(ChannelColumn(channel, "kwhp"), " ");
    }
    return StatementJob(std::move(statements), kHourlyTable, Effect::Each);
}

}  // namespace

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
    const QString operation = u"Condensing Granular Data."_s;
    op.Show(Announcement(operation));
    co_return co_await Run(operation, CondenseJob(start, end), u"Condensed: %1 rows are gone."_s, op);
}

QCoro::Task<Outcome> Maintenance::DeleteMinutes(QDate start, QDate end, Operator& op) {
    const QString operation = u"Deleting Minute Data."_s;
    op.Show(Announcement(operation));
    co_return co_await Run(operation, DeleteBetweenJob(start, end), u"Deleted: %1 rows are gone."_s, op);
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
    const bool sure = co_await op.AskYesNo(
        u"WARNING !!!! This will delete all of the \"Minute Data\" older than %1 days. (%2)\nDo you wish to "
        "continue?"_s.arg(count)
            .arg(QString::fromStdString(cutoff)));
    if (!sure) co_return Outcome::Failure(u"Deletion aborted."_s);
    co_return co_await Run(u"Deleting Minute Data."_s, DeleteOlderJob(cutoff),
                           u"Deleted: %1 rows are gone."_s, op);
}

QCoro::Task<Outcome> Maintenance::DeleteBefore(QDate first, Operator& op) {
    SqlJob job = DeleteOlderJob(Day(first) + " 00:00:00");
    co_return co_await Run(u"Deleting Minute Data."_s, std::move(job), u"Deleted: %1 rows are gone."_s, op);
}

QCoro::Task<Outcome> Maintenance::DeleteDBdata(Operator& op) {
    const bool willing = co_await op.AskYesNo(
        u"WARNING !!!! This will delete all of the data collected. Are you willing to lose all collected "
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
    co_return co_await Run(u"Zeroing outliers."_s, OutlierJob(*threshold), u"Completed !"_s, op);
}

}  // namespace corvane
