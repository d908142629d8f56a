// Numbered copies of the capture database, made while the capture goes on, and the way back from one.
#pragma once

#include <QCoroTask>
#include <QString>

#include <optional>
#include <vector>

#include "base/outcome.h"

namespace corvane {

class CaptureDatabase;
class DatabaseWork;
class DbWriter;
class Operator;
class SettingsStore;

/// The backups of a database lie beside it: its name without ".db3", "_bak", a number from 1 on, ".db3". Each
/// has the ledger of its day beside it, where there is one: the same name with ".ledger.db3".
class DatabaseBackups {
public:
    /// `ledger` is the path of the ledger, which need not exist.
    DatabaseBackups(CaptureDatabase& database, const SettingsStore& settings, DbWriter& writer,
                    DatabaseWork& work, QString ledger = {});

    /// Copies the database under the next free number, or after asking twice under number 1 in place of all
    /// older ones. The copy is that of one moment. One that fails or is given up leaves no file, and the
    /// older backups as they were.
    QCoro::Task<Outcome> BackupDBfile(Operator& op);

    /// The same for another database file.
    QCoro::Task<Outcome> BackupDBfile(QString path, Operator& op);

    /// Copies the database under the next free number, before rows of it are deleted. Where that fails, or
    /// would leave less room on the disk than the database takes, it asks whether to go on without a backup.
    QCoro::Task<Outcome> BackupBeforeLoss(Operator& op);

    /// A line for each device and table on the records of the database at `path`; why it cannot be read where
    /// it cannot.
    QCoro::Task<QString> RecordsIn(QString path, Operator& op);

    /// Puts backup `number` in the place of the database, after all of it was checked, the records of both
    /// were told, a question, and a backup of the database itself. Until the last moment, and where anything
    /// fails, the database stays as it is. The ledger goes on as it is, which is told.
    QCoro::Task<Outcome> Restore(int number, Operator& op);

    /// Removes what backups and restores of the database have left that were killed.
    void RemovePartials() const;

    /// The numbers of the backups there are, in ascending order.
    [[nodiscard]] std::vector<int> Numbers() const;

    /// Where backup `number` of the database is, whether it exists or not.
    [[nodiscard]] QString PathOf(int number) const;

private:
    [[nodiscard]] QString CurrentPath() const;
    [[nodiscard]] std::vector<int> NumbersWith(const QString& ending) const;
    QCoro::Task<> CopyLedger(QString to, Operator& op);
    QCoro::Task<Outcome> CopyTo(QString from, QString to, bool replaceAll, Operator& op);

    CaptureDatabase& database_;
    const SettingsStore& settings_;
    DbWriter& writer_;
    DatabaseWork& work_;
    QString ledger_;
};

}  // namespace corvane
