// What keeps the capture database small and correct. Every operation is one that a user starts or has
// switched on; while it runs, the capture goes on and its records wait.
#pragma once

#include <QCoroTask>
#include <QDate>
#include <QString>

#include <string>
#include <vector>

#include "base/outcome.h"
#include "store/statement_job.h"
#include "store/upkeep/rows_at_stake.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class DatabaseBackups;
class DatabaseWork;
class Operator;
class SettingsStore;
class UnwrittenRecords;

/// The two tables that the capture fills.
enum class DataTable { Hourly, Minute };

class Maintenance {
public:
    static constexpr int kMostDays = 1500;  ///< that the age of data may be given as
    static const QDate kBeforeAll;

    Maintenance(CaptureDatabase& database, SettingsStore& settings, DatabaseWork& work,
                DatabaseBackups& backups, const Clock& clock);

    // What deletes or changes rows tells first how many there are, from when to when and of which devices,
    // and asks. Where there are any, it makes a backup then; without room for one it asks again.

    /// Condenses the minute data between two days to the last row of each device and minute. A row stamped
    /// exactly 00:00:00 of the first day or 23:59:59 of the last is outside, on purpose.
    QCoro::Task<Outcome> Granulate(QDate start, QDate end, Operator& op);

    /// The same, unasked.
    QCoro::Task<Outcome> Condense(QDate start, QDate end, Operator& op);

    /// Deletes the minute data between two days; the data of these two days themselves stay, on purpose.
    QCoro::Task<Outcome> DeleteMinutes(QDate start, QDate end, Operator& op);

    /// Deletes the minute data that are more than `days` days old. `days` is what a user entered.
    QCoro::Task<Outcome> DeleteOlderThan(QString days, Operator& op);

    /// Asks whether nightly runs may take what comes before the day `first`, if there is anything.
    QCoro::Task<Outcome> AskForNights(QDate first, bool condenses, Operator& op);

    /// Deletes minute data from before the beginning of the day `first`, unasked.
    QCoro::Task<Outcome> DeleteBefore(QDate first, Operator& op);

    /// Asks thrice, also whether a backup is wanted, and deletes all captured data.
    QCoro::Task<Outcome> DeleteDBdata(Operator& op);

    /// Sets hourly energies above `kwh`, as a user entered it, to 0.
    QCoro::Task<Outcome> ZeroOutliers(QString kwh, Operator& op);

    /// What there is to say of the types of a table's columns.
    [[nodiscard]] QString TestColumnTypes(DataTable table) const;

    /// Asks, also whether a backup is wanted, and rebuilds the hourly table with the types it should have.
    /// Row ids stay. It takes effect as a whole or not at all.
    QCoro::Task<Outcome> RepairHourlyTable(Operator& op) { return RepairTable(DataTable::Hourly, op); }
    QCoro::Task<Outcome> RepairMinuteTable(Operator& op) { return RepairTable(DataTable::Minute, op); }

    /// Offers to replace each serial number of fewer than six digits throughout the database. No backup is
    /// made: the number can be given back.
    QCoro::Task<Outcome> RepairSerialNumbers(Operator& op);

    /// Rebuilds the rows of labels: those of Device A to D, up to the first without a serial
    /// number, and none for the virtual device. The limit to four is on purpose.
    QCoro::Task<Outcome> ResetLabels(Operator& op);

    /// Writes what the queue gave up into the database after all, each record once.
    QCoro::Task<Outcome> WriteIn(UnwrittenRecords& unwritten, Operator& op);

    /// Wrong: why `text` is no count of days. Else it is 1..1500.
    [[nodiscard]] static Outcome CheckDays(const QString& text);

private:
    QCoro::Task<Outcome> RepairTable(DataTable table, Operator& op);

    /// What the rows are, for a question.
    QCoro::Task<Stake> AtStake(std::vector<RowsAtStake> rows, Operator& op);

    /// Tells what the rows are and asks; then makes a backup. After No the failure is `refusal`.
    QCoro::Task<Outcome> AskFirst(std::vector<RowsAtStake> rows, QString question, QString refusal,
                                  Operator& op);

    /// Runs a job on the database and shows how many rows it changed, as `done` with the count for "%1".
    QCoro::Task<Outcome> Run(QString operation, SqlJob job, QString done, Operator& op);

    CaptureDatabase& database_;
    SettingsStore& settings_;
    DatabaseWork& work_;
    DatabaseBackups& backups_;
    const Clock& clock_;
};

}  // namespace corvane
