#include "store/database_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <utility>

#include "base/operator.h"
#include "store/capture_database.h"
#include "store/schema.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

const QString kFileKey = u"DBfile"_s;
const QString kEstablishedKey = u"DBestablished"_s;
const QString kDefaultFile = u"vrq1.db3"_s;

/// Empty for a capture database, else what is wrong with the file.
QString ValidationError(const QString& path) {
    const auto connection = CaptureDatabase::OpenFile(path.toStdString(), false);
    if (!connection) return u"The file cannot be opened."_s;
    return QString::fromStdString(connection.GetTable("SELECT  id FROM applicationinfo ").errorText);
}

}  // namespace

DatabaseFiles::DatabaseFiles(CaptureDatabase& database, SettingsStore& settings, QString dataFolder)
    : database_(database), settings_(settings), dataFolder_(std::move(dataFolder)) {}

QString DatabaseFiles::FullPath(const QString& name) const {
    return QDir(dataFolder_).absoluteFilePath(name);
}

void DatabaseFiles::Adopt(const QString& path) {
    database_.UseFile(path.toStdString());
    // A file in the data folder is remembered by its bare name, so that the folder can be moved as a whole.
    const QFileInfo file(path);
    const bool inDataFolder = file.absolutePath() == QDir(dataFolder_).absolutePath();
    const QString name = inDataFolder ? file.fileName() : path;
    if (settings_.GetSetting(kFileKey) != name) settings_.SaveSetting(kFileKey, name);
    if (!settings_.GetBool(kEstablishedKey, false)) settings_.SaveSetting(kEstablishedKey, true);
}

QCoro::Task<Outcome> DatabaseFiles::GetDBfile2(Operator& op) {
    const QString path = FullPath(settings_.GetSetting(kFileKey, kDefaultFile));
    if (!QFileInfo::exists(path)) {
        if (settings_.GetBool(kEstablishedKey, false)) {
            co_return Outcome::Failure(
                u"The database file %1 is not there any more. Put it back, or name another one in the "
                u"setting "
                "DBfile. This program requires a valid database file to operate. The program will now close."_s
                    .arg(path));
        }
        co_await CreateNewDB(path, op);
        if (!QFileInfo::exists(path)) {
            co_return Outcome::Failure(
                u"This program requires a valid database file to operate. The program will now close."_s);
        }
    }
    const QString error = ValidationError(path);
    if (!error.isEmpty()) {
        co_return Outcome::Failure(
            u"%1: %2. A proper database file is required to run this program. The program will now terminate."_s
                .arg(path, error));
    }
    Adopt(path);
    co_return Outcome::Success();
}

QCoro::Task<bool> DatabaseFiles::CreateNewDB(QString path, Operator& op) {
    const Outcome made = CreateTables(path.toStdString());
    if (!made) {
        op.Show(made.Error());
        const bool remove = co_await op.AskYesNo(
            path +
            u"\n\nThere was an error creating the database file. Would you like to delete the file and try "
            "again?"_s);
        if (remove) QFile::remove(path);
        co_return false;
    }
    // Where no database is in force yet, nothing is lost by using the new one.
    const Answer safe = database_.databasePath().empty() ? Answer::Yes : Answer::No;
    const bool use = co_await op.AskYesNo(
        u"The database has been created successfuly. Would you like to set it as the default system file?"_s,
        safe);
    if (!use) co_return false;
    const bool proceed = co_await op.AskYesNo(
        u"If you use this new file, you will need to do the following:\n"
        "1. Configure the number of channels.\n"
        "2. Assign new labels.\n"
        "3. Change the dashboard database path and filename, if using the dashboard.\n"
        "\n"
        "Would you like to proceed?"_s,
        safe);
    if (proceed) Adopt(path);
    co_return proceed;
}

}  // namespace corvane
