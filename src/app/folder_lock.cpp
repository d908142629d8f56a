#include "app/folder_lock.h"

#include <QDir>
#include <QFileInfo>
#include <QSysInfo>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <csignal>
#endif

#include "base/exit_codes.h"
#include "store/app_folder.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Also told of a process that is hidden, as a system may hide those of other users.
bool Exists(qint64 pid) {
#ifdef Q_OS_UNIX
    return kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
#else
    Q_UNUSED(pid)
    return false;
#endif
}

/// By what a process tells everybody: "1234 (corvaned) S ...". One that is Z has ended.
bool Runs(qint64 pid, const QString& program) {
    QFile file(u"/proc/%1/stat"_s.arg(pid));
    if (!file.open(QIODevice::ReadOnly)) return Exists(pid);
    constexpr qsizetype kLongestName = 15;
    const QString told = QString::fromLocal8Bit(file.readAll());
    const QString name = u"(%1) "_s.arg(program.left(kLongestName));
    return told.contains(name) && !told.contains(name + u'Z');
}

}  // namespace

FolderLock::FolderLock(const QString& dataFolder)
    : path_(QDir(dataFolder).filePath(u"corvane.lock"_s)), file_(path_) {
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

LockHolder FolderLock::Holder() const {
    return ReadHolder().value_or(
        LockHolder{.program = u"another program"_s, .user = QFileInfo(path_).owner()});
}

std::optional<LockHolder> FolderLock::ReadHolder() const {
    qint64 pid = 0;
    QString host;
    QString application;
    if (!file_.getLockInfo(&pid, &host, &application)) return std::nullopt;
    return LockHolder{.program = u"%1 (process %2 on %3)"_s.arg(application, QString::number(pid), host),
                      .user = QFileInfo(path_).owner(),
                      .runs = host != QSysInfo::machineHostName() || Runs(pid, application)};
}

QString FolderInUseText(const QString& folder, const QString& path, const LockHolder& holder) {
    const QString who = u"%1 of the user %2"_s.arg(holder.program, holder.user);
    if (holder.runs) return u"The data folder %1 is in use by %2."_s.arg(folder, who);
    return u"The data folder %1 is locked by %2, which does not run any more. Only that user can take "
           "the lock over: start Corvane as %3, or delete %4."_s.arg(folder, who, holder.user, path);
}

FolderTaken TakeFolder(const QString& folder, FolderLock& lock) {
    const Outcome made = CreateAppDataFolder(folder);
    if (!made) return {kExitNoFolder, made.Error()};
    switch (lock.TryLock()) {
        case FolderLock::Result::Locked:
            return {kExitOk, {}};
        case FolderLock::Result::InUse:
            return {kExitAlreadyRunning, FolderInUseText(folder, lock.Path(), lock.Holder())};
        case FolderLock::Result::Failed:
            break;
    }
    return {kExitNoFolder, u"The data folder %1 cannot be locked."_s.arg(folder)};
}

}  // namespace corvane
