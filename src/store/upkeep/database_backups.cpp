#include "store/upkeep/database_backups.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

#include <algorithm>
#include <utility>

#include "base/operator.h"
#include "store/capture_database.h"
#include "store/db_writer.h"
#include "store/upkeep/copy_job.h"
#include "store/upkeep/database_work.h"
#include "store/upkeep/rows_at_stake.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 kMegabyte = 1'000'000;

/// Full path without ".db3", and backup names made from it.
struct BackupNames {
    QString base;

    explicit BackupNames(const QString& path) {
        const QFileInfo file(path);
        base = file.absoluteDir().filePath(file.completeBaseName());
    }
    [[nodiscard]] QString Of(int number) const { return base + u"_bak%1.db3"_s.arg(number); }
    [[nodiscard]] QString NextFree() const { return Of(FirstFree()); }
    [[nodiscard]] bool Exists(int number) const { return QFileInfo::exists(Of(number)); }
    [[nodiscard]] int FirstFree() const {
        int number = 1;
        while (Exists(number))
            ++number;
        return number;
    }
    [[nodiscard]] QString DatabaseName() const { return QFileInfo(base).fileName() + u".db3"_s; }
};

/// The ledger's copy that belongs to the backup at `backup`.
QString LedgerOf(const QString& backup) {
    return backup.chopped(4) + u".ledger.db3"_s;
}

Outcome AsOutcome(const QueryResult& result) {
    return result.Ok() ? Outcome::Success() : Outcome::Failure(QString::fromStdString(result.errorText));
}

}  // namespace

DatabaseBackups::DatabaseBackups(CaptureDatabase& database, const SettingsStore& settings, DbWriter& writer,
                                 DatabaseWork& work, QString ledger)
    : database_(database), settings_(settings), writer_(writer), work_(work), ledger_(std::move(ledger)) {}

QString DatabaseBackups::CurrentPath() const {
    return QString::fromStdString(database_.databasePath());
}

QString DatabaseBackups::PathOf(int number) const {
    return BackupNames(CurrentPath()).Of(number);
}

std::vector<int> DatabaseBackups::Numbers() const {
    return NumbersWith({});
}

void DatabaseBackups::RemovePartials() const {
    RemovePartial(CurrentPath().toStdString());
    for (const int number : NumbersWith(QLatin1StringView(kPartialEnding)))
        RemovePartial(PathOf(number).toStdString());
    for (const int number : Numbers())
        RemovePartial(LedgerOf(PathOf(number)).toStdString());
}

/// Of the files that are called as a backup is, with `ending` at the end.
std::vector<int> DatabaseBackups::NumbersWith(const QString& ending) const {
    const BackupNames names(CurrentPath());
    const QString start = QFileInfo(names.base).fileName() + u"_bak"_s;
    std::vector<int> numbers;
    const auto files = QFileInfo(names.base).absoluteDir().entryList({u"*.db3"_s + ending}, QDir::Files);
    for (const QString& file : files) {
        bool isNumber = false;
        const int number = file.chopped(4 + ending.size()).mid(start.size()).toInt(&isNumber);
        if (isNumber && file == QFileInfo(names.Of(number)).fileName() + ending) numbers.push_back(number);
    }
    std::ranges::sort(numbers);
    return numbers;
}

QCoro::Task<Outcome> DatabaseBackups::BackupDBfile(Operator& op) {
    return BackupDBfile(CurrentPath(), op);
}

QCoro::Task<Outcome> DatabaseBackups::BackupDBfile(QString path, Operator& op) {
    const BackupNames names(path);
    const int number = names.FirstFree();
    if (number == 1) co_return co_await CopyTo(path, names.Of(1), false, op);

    Question keep{
        .text =
            u"There are previous backups of database file %1.\n Would you like to keep the older backups "
            "and create a new backup?"_s.arg(names.DatabaseName()),
        .safe = Answer::Yes,
        .cancellable = true,
        .offer = true};
    const Answer answer = co_await op.Ask(std::move(keep));
    if (answer == Answer::Yes) co_return co_await CopyTo(path, names.Of(number), false, op);
    bool replace = false;
    if (answer == Answer::No) {
        replace = co_await op.AskYesNo(
            u"The previous database backup(s) for database file %1 will be "
            "deleted.\nContinue?"_s.arg(names.DatabaseName()));
    }
    if (!replace) {
        co_return Outcome::Failure(
            u"WARNING: The database file has not been backed up! Cancel was selected."_s);
    }
    co_return co_await CopyTo(path, names.Of(1), true, op);
}

QCoro::Task<Outcome> DatabaseBackups::BackupBeforeLoss(Operator& op) {
    const QString current = CurrentPath();
    const qint64 needed = 2 * QFileInfo(current).size();  // half of it for the copy
    const qint64 room = QStorageInfo(QFileInfo(current).absolutePath()).bytesAvailable();
    Outcome saved = Outcome::Failure(
        u"A backup is made where %1 MB are free on the disk; there are %2."_s.arg(needed / kMegabyte + 1)
            .arg(room / kMegabyte));
    if (room < 0 || room >= needed)
        saved = co_await CopyTo(current, BackupNames(current).NextFree(), false, op);
    if (saved || op.WantsCancel()) co_return saved;
    const bool goesOn = co_await op.AskYesNo(
        u"There is no backup: %1\nDo you want to go on without one?"_s.arg(saved.Error()));
    co_return goesOn ? Outcome::Success() : saved;
}

QCoro::Task<QString> DatabaseBackups::RecordsIn(QString path, Operator& op) {
    std::vector<RowsAtStake> tables(2);
    tables[0].table = "monitordata_hourly";
    tables[1].table = "monitordata_minute";
    const QueryResult counted =
        co_await work_.Run(u"Counting the rows."_s, path.toStdString(), CountJob(std::move(tables)), op);
    const Stake stake = StakeOf(counted, settings_);
    co_return u"%1:\n%2"_s.arg(path, stake.error.isEmpty() ? stake.text : stake.error);
}

/// With `replaceAll`, `to` is backup 1, and all others go once it is there.
QCoro::Task<Outcome> DatabaseBackups::CopyTo(QString from, QString to, bool replaceAll, Operator& op) {
    const BackupNames names(from);
    std::vector<std::string> obsolete;
    for (int number = 2; replaceAll && names.Exists(number); ++number) {
        obsolete.push_back(names.Of(number).toStdString());
        obsolete.push_back(LedgerOf(names.Of(number)).toStdString());
    }
    const QueryResult copied =
        co_await work_.Run(u"Backup"_s, from.toStdString(), CopyJob(to.toStdString(), obsolete), op);
    if (copied.Ok()) {
        co_await CopyLedger(LedgerOf(to), op);
        op.Show(u"The database has been backed up:  "_s + to);
    }
    co_return AsOutcome(copied);
}

/// A ledger that cannot be copied is told of, and makes no backup of the records fail.
QCoro::Task<> DatabaseBackups::CopyLedger(QString to, Operator& op) {
    QFile::remove(to);  // of an older backup of that number
    if (!QFileInfo::exists(ledger_)) co_return;
    const QueryResult copied =
        co_await work_.Run(u"Backup"_s, ledger_.toStdString(), CopyJob(to.toStdString(), {}), op);
    if (!copied.Ok()) {
        op.Show(u"The ledger %1 could not be copied: %2"_s.arg(ledger_,
                                                               QString::fromStdString(copied.errorText)));
    }
}

QCoro::Task<Outcome> DatabaseBackups::Restore(int number, Operator& op) {
    const QString current = CurrentPath();
    const BackupNames names(current);
    if (!names.Exists(number)) co_return Outcome::Failure(u"There is no backup %1."_s.arg(names.Of(number)));
    const QueryResult check =
        co_await work_.Run(u"Restore"_s, names.Of(number).toStdString(), CheckJob(), op);
    if (!check.Ok()) {
        co_return Outcome::Failure(u"%1 cannot be restored, and nothing was changed: %2"_s.arg(
            names.Of(number), QString::fromStdString(check.errorText)));
    }
    const QString lost = co_await RecordsIn(current, op);
    const QString gained = co_await RecordsIn(names.Of(number), op);
    const bool sure =
        co_await op.AskYesNo(u"%3\n\n%4\n\nAre you sure you want to replace:\n%1\nWith this file?\n%2"_s.arg(
            current, names.Of(number), lost, gained));
    if (!sure) co_return Outcome::Failure(u"The current database file has not been replaced."_s);

    Outcome written = co_await writer_.WriteBeforeChange();
    if (!written) co_return written;
    const Outcome saved = co_await BackupBeforeLoss(op);
    if (!saved) co_return saved;
    const QueryResult restored = co_await work_.Run(u"Restore"_s, names.Of(number).toStdString(),
                                                    ReplaceJob(current.toStdString()), op);
    if (!restored.Ok()) co_return AsOutcome(restored);
    QString told = u"The database has been restored from:  "_s + names.Of(number);
    const QString ledger = LedgerOf(names.Of(number));
    if (QFileInfo::exists(ledger)) {
        told +=
            u"\nThe ledger stays as it is; what it was then is in %1. Carries that were taken back since "
            u"then "
            "still stand in the rows of the backup."_s.arg(ledger);
    }
    op.Show(told);
    co_return AsOutcome(restored);
}

}  // namespace corvane
