// Which file the capture goes to: found at start-up, chosen, made and checked by the user.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <array>
#include <optional>

#include "base/outcome.h"
#include "base/setting.h"
#include "store/schema.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class DatabaseBackups;
class DbWriter;
class Operator;
class SettingsStore;

inline constexpr Setting kDatabaseFile{
    .key = "DBfile",
    .fallback = "vrq1.db3",
    .effect = SettingEffect::NextStart,
    .help = "The file of the capture database; a bare name lies in the data folder."};
inline constexpr Setting kDatabaseEstablished{
    .key = "DBestablished",
    .kind = SettingKind::Switch,
    .fallback = "False",
    .by = SettingBy::Program,
    .help = "Whether a database was ever in use; from then on a missing file ends the service."};
inline constexpr std::array kDatabaseFilesSettings = {kDatabaseFile, kDatabaseEstablished};

class DatabaseFiles : public QObject {
    Q_OBJECT

public:
    /// `dataFolder` is where a bare file name lies.
    DatabaseFiles(CaptureDatabase& database, SettingsStore& settings, DbWriter& writer,
                  DatabaseBackups& backups, const Clock& clock, QString dataFolder);

    /// Finds and validates the file of the setting `DBfile` at start-up and uses it. Base tables that it
    /// lacks are made. One that another program holds locked is used all the same, and looked at as soon as
    /// it is free. Where it is missing, asks for another or for a new one until there is a file, or the user
    /// gives up: that is the failure. Where nobody can be asked, a new file is made only if there never was
    /// one: a new file beside a missing one would scatter the data.
    QCoro::Task<Outcome> GetDBfile2(Operator& op);

    /// Lets the user switch to another database, after a question. The failure says why the file stays as
    /// it was.
    QCoro::Task<Outcome> GetDBfile(Operator& op);

    /// The menu command: offers to switch writing on where it is off, then does `GetDBfile`.
    QCoro::Task<Outcome> OpenDatabase(Operator& op);

    /// Asks for a name and makes a fresh database of it, over one of that name only after asking.
    QCoro::Task<Outcome> NewDatabase(Operator& op);

    /// Puts a backup in the place of the database in use, after a question.
    QCoro::Task<Outcome> RestoreBackup(int number, Operator& op);

    /// Makes a fresh database at `path` and offers to use it from now on. On an error offers to delete the
    /// file. The failure: there is no database, or it is not in use though that was wanted.
    QCoro::Task<Outcome> CreateNewDB(QString path, Operator& op);

    /// Checks the name of a file that the next start is to use, as the setting `DBfile`.
    [[nodiscard]] Outcome CheckName(QString& name) const;

    /// Whether the name of the file in use ends as that of a database does, in any case of letters.
    [[nodiscard]] bool TestValidDBfile() const;

    /// Compares the serial number that device position 1..6 is bound to with that in the database, and offers
    /// to correct the latter. The failure is that of a statement.
    QCoro::Task<Outcome> VerifyDBdeviceAdrs(int position, Operator& op);

Q_SIGNALS:
    /// The last records are about to be written: whoever reads the file for long gives up, at once and for
    /// good.
    void ReadersMustEnd();

    /// Another file is in use, or the one in use holds other tables.
    void Adopted();

    /// What was found in the file in use may be another now: its tables could not be looked at before.
    void TablesKnown();

    /// What people are to hear of though they asked for nothing.
    void Noted(const QString& text);

private:
    [[nodiscard]] QString FullPath(const QString& name) const;
    [[nodiscard]] QString StoredPath() const;
    [[nodiscard]] QString CurrentPath() const;
    QCoro::Task<std::optional<QString>> Browse(Operator& op);
    QCoro::Task<Outcome> SearchOrCreate(QString& path, Operator& op);
    QCoro::Task<Outcome> MakeFile(QString suggestion, Operator& op);
    QCoro::Task<Outcome> MakeRoom(QString path, Operator& op);
    [[nodiscard]] FileCheck Examine(const QString& path);
    void LookWhetherFree();
    void Remember(const QString& path);
    void Adopt(const QString& path);

    CaptureDatabase& database_;
    SettingsStore& settings_;
    DbWriter& writer_;
    DatabaseBackups& backups_;
    QString dataFolder_;
    QString lockedPath_;  ///< of the file that is waited for; empty where none is
};

}  // namespace corvane
