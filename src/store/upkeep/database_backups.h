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

/// The backups of a database lie beside it: its name without ".db3", "_bak", a number from 1 on, ".db3". Each
/// has the ledger of its day beside it, where there is one: the same name with ".ledger.db3".
class DatabaseBackups {
public:
    /// `ledger` is the path of the ledger, which need not exist.
    DatabaseBackups(CaptureDatabase& database, DbWriter& writer, DatabaseWork& work, QString ledger = {});

    /// Copies the database under the next free number, or after asking twice under number 1 in place of all
    /// older ones. The copy is that of one moment. One that fails or is given up leaves no file, and the
    /// older backups as they were.
    QCoro::Task<Outcome> BackupDBfile(Operator& op);

    /// The same for another database file.
    QCoro::Task<Outcome> BackupDBfile(QString path, Operator& op);

    /// Puts backup `number` in the place of the database, after all of it was checked and the database has
    /// been backed up itself. Until the last moment, and where anything fails, the database stays as it is.
    /// The ledger goes on as it is, which is told.
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
    DbWriter& writer_;
    DatabaseWork& work_;
    QString ledger_;
};

}  // namespace corvane
