#include "store/app_folder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>

namespace corvane {

using namespace Qt::StringLiterals;

QString GetAppDataFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
}

Outcome CreateAppDataFolder(const QString& folder) {
    if (!QFileInfo::exists(folder)) {
        if (!QDir().mkpath(folder)) {
            return Outcome::Failure(u"Unable to create AppData Folder. (%1)"_s.arg(folder));
        }
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    if (!QFileInfo(folder).isDir()) {
        return Outcome::Failure(u"Appdata folder doesn't exist: %1 is a file."_s.arg(folder));
    }
    QTemporaryFile probe(QDir(folder).filePath(u"probe-XXXXXX"_s));
    const bool written =
        probe.open() && probe.putChar('x') && probe.flush();  // a full disk still makes empty files
    if (!written) {
        return Outcome::Failure(
            u"The data folder %1 cannot be written to: %2"_s.arg(folder, probe.errorString()));
    }
    return Outcome::Success();
}

}  // namespace corvane
