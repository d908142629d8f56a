#include "store/upkeep/database_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <utility>

#include "base/clock.h"
#include "base/operator.h"
#include "store/capture_database.h"
#include "store/db_writer.h"
#include "store/device_serial.h"
#include "store/settings_store.h"
#include "store/upkeep/database_backups.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kNotReplaced = u"The current database file has not been replaced."_s;

bool EndsAsDatabase(const QString& path) {
    return path.toUpper().endsWith(".DB3"_L1);
}

}  // namespace

DatabaseFiles::DatabaseFiles(CaptureDatabase& database, SettingsStore& settings, DbWriter& writer,
                             DatabaseBackups& backups, const Clock& clock, QString dataFolder)
    : database_(database),
      settings_(settings),
      writer_(writer),
      backups_(backups),
      dataFolder_(std::move(dataFolder)) {
    connect(&clock, &Clock::SecondPassed, this, &DatabaseFiles::LookWhetherFree);
}

QString DatabaseFiles::FullPath(const QString& name) const {
    return QDir(dataFolder_).absoluteFilePath(name);
}

QString DatabaseFiles::StoredPath() const {
    const QString name = settings_.Value(kDatabaseFile).trimmed();
    return name.isEmpty() ? QString() : FullPath(name);
}

QString DatabaseFiles::CurrentPath() const {
    return QString::fromStdString(database_.databasePath());
}

/// Makes the base tables that the file lacks, and says what is wrong with it then.
FileCheck DatabaseFiles::Examine(const QString& path) {
    const MendedTables mended = MendTables(path);
    if (!mended.names.isEmpty()) {
        Q_EMIT Noted(u"%1 lacked tables, which were made: %2."_s.arg(path, mended.names.join(u", "_s)));
    }
    return mended.check.verdict == FileVerdict::Fine ? CheckDatabaseFile(path) : mended.check;
}

/// Every second while the file in use is locked since the start.
void DatabaseFiles::LookWhetherFree() {
    if (lockedPath_.isEmpty()) return;
    const QString path = lockedPath_;
    if (path == CurrentPath()) {
        const FileCheck check = Examine(path);
        if (check.verdict == FileVerdict::Locked) return;
        if (check.verdict == FileVerdict::Fine) {
            Remember(path);
            Q_EMIT Noted(u"%1 is free; the records that waited are written to it."_s.arg(path));
        } else {
            Q_EMIT Noted(u"%1: %2. No records can be written to it; choose another database file."_s.arg(
                path, check.text));
        }
        Q_EMIT TablesKnown();
    }
    lockedPath_.clear();
}

void DatabaseFiles::Adopt(const QString& path) {
    database_.UseFile(path.toStdString());
    Remember(path);
    Q_EMIT Adopted();
}

void DatabaseFiles::Remember(const QString& path) {
    // A file in the data folder is remembered by its bare name, so that the folder can be moved as a whole.
    const QFileInfo file(path);
    const bool inDataFolder = file.absolutePath() == QDir(dataFolder_).absolutePath();
    const QString name = inDataFolder ? file.fileName() : path;
    if (settings_.Kept(kDatabaseFile) != name) settings_.Save(kDatabaseFile, name);
    if (!settings_.IsOn(kDatabaseEstablished)) settings_.Save(kDatabaseEstablished, true);
}

QCoro::Task<Outcome> DatabaseFiles::GetDBfile2(Operator& op) {
    QString path = StoredPath();
    if (!QFileInfo::exists(path)) {
        Outcome found = co_await SearchOrCreate(path, op);
        if (!found) co_return found;
    }
    FileCheck check = Examine(path);
    for (; check.verdict == FileVerdict::Wrong; check = Examine(path)) {
        op.Show(u"%1: %2"_s.arg(path, check.text));
        const bool again = co_await op.AskYesNo(
            u"The chosen database file is incorrect or corrupted. Would you like to search again?"_s);
        if (!again) {
            co_return Outcome::Failure(
                u"A proper database file is required to run this program. The program will now terminate."_s);
        }
        if (const auto chosen = co_await Browse(op)) path = *chosen;
    }
    if (check.verdict == FileVerdict::Locked) {
        lockedPath_ = path;
        database_.UseFile(path.toStdString());
        Q_EMIT Noted(
            u"%1 is locked by another program, or on a network drive without locks. Records wait until it is free."_s
                .arg(path));
        co_return Outcome::Success();
    }
    Adopt(path);
    co_return Outcome::Success();
}

/// Until there is a file at `path`. What was chosen is remembered only when it was found to be right.
QCoro::Task<Outcome> DatabaseFiles::SearchOrCreate(QString& path, Operator& op) {
    const bool established =
        settings_.ReadSwitch(kDatabaseEstablished, u"no database is made unasked"_s).value_or(true);
    while (true) {
        const QString missing = path;
        Question question{.text = u"Database Not Found"_s,
                          .safe = established ? Answer::Yes : Answer::No,
                          .title = u"ATTENTION !"_s,
                          .yes = u"Browse"_s,
                          .no = u"Create New"_s};
        if (co_await op.Ask(std::move(question)) == Answer::Yes) {
            if (const auto chosen = co_await Browse(op)) path = *chosen;
        } else {
            const QString fallback = FullPath(QString::fromLatin1(kDatabaseFile.fallback));
            const Outcome made = co_await MakeFile(missing.isEmpty() ? fallback : missing, op);
            if (!made) op.Show(made.Error());
            path = StoredPath();
        }
        if (QFileInfo::exists(path)) co_return Outcome::Success();
        const bool again = co_await op.AskYesNo(
            u"A database file has not been found. Would you like to Search or Create a new one?"_s);
        if (!again) {
            const QString why = missing.isEmpty() ? u"The setting DBfile names no file."_s
                                                  : u"%1 is not there."_s.arg(missing);
            co_return Outcome::Failure(
                why +
                u" This program requires a valid database file to operate. The program will now close."_s);
        }
    }
}

/// The full path of the file chosen, or nothing, which is said.
QCoro::Task<std::optional<QString>> DatabaseFiles::Browse(Operator& op) {
    FileQuestion question{.prompt = u"Select Database File"_s};
    const auto chosen = co_await op.AskFile(std::move(question));
    if (!chosen.has_value() || chosen->trimmed().isEmpty()) {
        op.Show(u"No database file found. Click the database tab and locate the \".db3\" database file."_s);
        co_return std::nullopt;
    }
    co_return FullPath(chosen->trimmed());
}

QCoro::Task<Outcome> DatabaseFiles::OpenDatabase(Operator& op) {
    if (!writer_.Enabled()) {
        const bool enable = co_await op.Offer(
            u"The \"Write to SQLite3\" option is currently not checked.\nWould you like to enable it?"_s);
        if (enable) {
            settings_.Save(kDatabaseEnabled, true);
            op.Show(writer_.EnabledText());
        }
    }
    co_return co_await GetDBfile(op);
}

QCoro::Task<Outcome> DatabaseFiles::GetDBfile(Operator& op) {
    if (QFileInfo(StoredPath()).absolutePath() != QDir(dataFolder_).absolutePath()) {
        op.Show(
            u"The \".db3\" file is not in the current directory.\n"
            "Please browse for this file and make sure it is in a directory \n"
            "which has user privileges, such as the Application Data folder. "_s);
    }
    while (true) {
        const auto chosen = co_await Browse(op);
        if (!chosen.has_value()) co_return Outcome::Failure(kNotReplaced);
        const QString& path = *chosen;
        if (QFileInfo(path) == QFileInfo(CurrentPath())) {
            op.Show(u"You have selected the existing file...... Database file is unchanged."_s);
            co_return Outcome::Success();
        }
        if (!EndsAsDatabase(path)) {
            co_return Outcome::Failure(u"The selected file is not a valid VRQ database file."_s);
        }
        const bool sure = co_await op.AskYesNo(
            u"You are currently using database file %1\n"
            "Are you sure you want to replace:\n%1\n"
            "With this file?\n%2\n\n"
            "Changing the database file will cause this database not to receive new data.\n"
            "Also, the newly selected database file should be cleared of previous data to prevent erroneous "
            "values."_s.arg(CurrentPath(), path));
        if (!sure) co_return Outcome::Failure(kNotReplaced);
        const FileCheck check = Examine(path);
        if (check.verdict == FileVerdict::Locked) {
            co_return Outcome::Failure(
                u"%1 is locked by another program; try again when it is free."_s.arg(path));
        }
        if (check.verdict == FileVerdict::Fine) {
            Outcome written = co_await writer_.WriteBeforeChange();
            if (written) Adopt(path);
            co_return written;
        }
        op.Show(u"%1: %2"_s.arg(path, check.text));
        const bool again = co_await op.AskYesNo(
            u"The chosen database file is incorrect or corrupted. Would you like to search again?"_s);
        if (!again) co_return Outcome::Failure(kNotReplaced);
    }
}

QCoro::Task<Outcome> DatabaseFiles::RestoreBackup(int number, Operator& op) {
    Outcome restored = co_await backups_.Restore(number, op);
    if (restored) Q_EMIT Adopted();
    co_return restored;
}

QCoro::Task<Outcome> DatabaseFiles::NewDatabase(Operator& op) {
    return MakeFile({}, op);
}

QCoro::Task<Outcome> DatabaseFiles::MakeFile(QString suggestion, Operator& op) {
    FileQuestion question{
        .prompt = u"Enter a database filename to create."_s, .suggestion = suggestion, .toMake = true};
    const auto entered = co_await op.AskFile(std::move(question));
    if (!entered.has_value() || entered->trimmed().isEmpty()) {
        co_return Outcome::Failure(u"No file was named; none was made."_s);
    }
    QString path = FullPath(entered->trimmed());
    if (!EndsAsDatabase(path)) path += u".db3"_s;
    if (QFileInfo::exists(path)) {
        Outcome room = co_await MakeRoom(path, op);
        if (!room) co_return room;
    }
    Outcome created = co_await CreateNewDB(path, op);
    if (path == CurrentPath()) Q_EMIT Adopted();
    co_return created;
}

/// Deletes the file at `path`, if that is what the user wants; behind a symbolic link, which stays.
QCoro::Task<Outcome> DatabaseFiles::MakeRoom(QString path, Operator& op) {
    const QString lost = co_await backups_.RecordsIn(path, op);
    const bool overwrite = co_await op.AskYesNo(
        lost +
        u"\n\n                     WARNING ! \nThe database file %1 already exits.\nDo you wish to overwrite it?"_s
            .arg(path));
    if (!overwrite) co_return Outcome::Failure(u"%1 stays as it is; no file was made."_s.arg(path));
    const bool backup = co_await op.AskYesNo(
        u"Would you like to make a backup of the database file before deleting it?"_s, Answer::Yes);
    if (QFileInfo(path) == QFileInfo(CurrentPath())) {
        Outcome written = co_await writer_.WriteBeforeChange();
        if (!written) co_return written;
    }
    if (backup) {
        Outcome saved = co_await backups_.BackupDBfile(path, op);
        if (!saved) co_return saved;
    }
    QFile file(QFileInfo(path).canonicalFilePath());
    if (file.remove()) co_return Outcome::Success();
    co_return Outcome::Failure(u"%1 cannot be deleted: %2"_s.arg(path, file.errorString()));
}

QCoro::Task<Outcome> DatabaseFiles::CreateNewDB(QString path, Operator& op) {
    const Outcome made = CreateTables(path.toStdString());
    if (!made) {
        op.Show(made.Error());
        const bool remove = co_await op.Offer(
            path +
            u"\n\nThere was an error creating the database file. Would you like to delete the file and try "
            "again?"_s);
        if (remove) QFile::remove(path);
        co_return Outcome::Failure(u"%1 was not made."_s.arg(path));
    }
    // Where no database is in use yet, nothing is lost by using the new one.
    const bool first = database_.databasePath().empty();
    const Answer safe = first ? Answer::Yes : Answer::No;
    const bool use = co_await op.Offer(
        u"The database has been created successfuly. Would you like to set it as the default system file?"_s,
        safe);
    if (!use) co_return Outcome::Success();
    const bool proceed = co_await op.Offer(
        u"If you use this new file, you will need to do the following:\n"
        "1. Configure the number of channels.\n"
        "2. Assign new labels.\n"
        "3. Change the dashboard database path and filename, if using the dashboard.\n"
        "\n"
        "Would you like to proceed?"_s,
        safe);
    if (!proceed) co_return Outcome::Success();
    if (!first && QFileInfo(path) != QFileInfo(CurrentPath())) {
        Outcome written = co_await writer_.WriteBeforeChange();
        if (!written) co_return written;
    }
    Adopt(path);
    co_return Outcome::Success();
}

Outcome DatabaseFiles::CheckName(QString& name) const {
    name = name.trimmed();
    if (name.isEmpty()) return Outcome::Failure(u"DBfile is the name of a file."_s);
    const QString path = FullPath(name);
    if (!EndsAsDatabase(path))
        return Outcome::Failure(u"The selected file is not a valid VRQ database file."_s);
    if (!QFileInfo::exists(path))
        return Outcome::Failure(u"%1 is not there; \"db new\" makes a database."_s.arg(path));
    const FileCheck check = CheckDatabaseFile(path);
    return check.verdict == FileVerdict::Fine ? Outcome::Success()
                                              : Outcome::Failure(u"%1: %2"_s.arg(path, check.text));
}

bool DatabaseFiles::TestValidDBfile() const {
    return EndsAsDatabase(CurrentPath());
}

QCoro::Task<Outcome> DatabaseFiles::VerifyDBdeviceAdrs(int position, Operator& op) {
    const QString serial = settings_.Value(kDeviceSerial, {.slot = position}).trimmed();
    const std::string id = std::to_string(position);
    const QueryResult stored =
        database_.Run("SELECT  deviceaddress FROM applicationinfo WHERE id = '" + id + "' ");
    std::string error = stored.errorText;
    for (const auto& row : stored.rows) {
        const QString address = QString::fromStdString(row.front().value_or(""));
        if (address.toLongLong() == serial.toLongLong()) continue;
        const bool correct = co_await op.AskYesNo(
            u"The device serial number does not match that of the database configuration. Would you like to "
            "correct this?"_s);
        if (!correct) continue;
        error = database_
                    .Run("UPDATE applicationinfo SET deviceaddress =" + SqlQuoted(serial.toStdString()) +
                         " where id='" + id + "'")
                    .errorText;
    }
    co_return error.empty() ? Outcome::Success() : Outcome::Failure(QString::fromStdString(error));
}

}  // namespace corvane
