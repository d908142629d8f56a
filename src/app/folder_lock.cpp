#include "app/folder_lock.h"

#include <QDir>

#include "base/exit_codes.h"
#include "store/app_folder.h"

namespace corvane {

using namespace Qt::StringLiterals;

FolderLock::FolderLock(const QString& dataFolder) : file_(QDir(dataFolder).filePath(u"corvane.lock"_s)) {
    file_.setStaleLockTime(0);  // a program that runs for years is not a dead one
}

FolderLock::Result FolderLock::TryLock() {
    if (file_.tryLock(0)) return Result::Locked;
    if (file_.error() != QLockFile::LockFailedError) return Result::Failed;
    // A program killed while it made the lock leaves it empty. Nobody holds it then, but by itself it never
    // gets old.
    if (!ReadHolder().has_value() && file_.removeStaleLockFile() && file_.tryLock(0)) return Result::Locked;
    return Result::InUse;
}

QString FolderLock::Holder() const {
    return ReadHolder().value_or(u"another program"_s);
}

std::optional<QString> FolderLock::ReadHolder() const {
    qint64 pid = 0;
    QString host;
    QString application;
    if (!file_.getLockInfo(&pid, &host, &application)) return std::nullopt;
    return u"%1 (process %2 on %3)"_s.arg(application, QString::number(pid), host);
}

FolderTaken TakeFolder(const QString& folder, FolderLock& lock) {
    const Outcome made = CreateAppDataFolder(folder);
    if (!made) return {kExitNoFolder, made.Error()};
    switch (lock.TryLock()) {
        case FolderLock::Result::Locked:
            return {kExitOk, {}};
        case FolderLock::Result::InUse:
            return {kExitAlreadyRunning, u"The data folder %1 is in use by %2."_s.arg(folder, lock.Holder())};
        case FolderLock::Result::Failed:
            break;
    }
    return {kExitNoFolder, u"The data folder %1 cannot be locked."_s.arg(folder)};
}

}  // namespace corvane
