#include "app/folder_lock.h"

#include <QDir>

namespace corvane {

using namespace Qt::StringLiterals;

FolderLock::FolderLock(const QString& dataFolder) : file_(QDir(dataFolder).filePath(u"corvane.lock"_s)) {
    file_.setStaleLockTime(0);  // a program that runs for years is not a dead one
}

FolderLock::Result FolderLock::TryLock() {
    if (file_.tryLock(0)) return Result::Locked;
    return file_.error() == QLockFile::LockFailedError ? Result::InUse : Result::Failed;
}

QString FolderLock::Holder() const {
    qint64 pid = 0;
    QString host;
    QString application;
    if (!file_.getLockInfo(&pid, &host, &application)) return u"another program"_s;
    return u"%1 (process %2 on %3)"_s.arg(application).arg(pid).arg(host);
}

}  // namespace corvane
