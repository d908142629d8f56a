// One program per data folder: two would write every record twice.
#pragma once

#include <QLockFile>
#include <QString>

#include <optional>

namespace corvane {

/// Who has a lock that cannot be had.
struct LockHolder {
    QString program;   ///< "corvaned (process 1234 on house)"
    QString user;      ///< whose program it is
    bool runs = true;  ///< as far as that can be told
};

class FolderLock {
public:
    explicit FolderLock(const QString& dataFolder);

    enum class Result { Locked, InUse, Failed };

    /// Holds the lock until this object goes. The lock of a program that was killed is taken over.
    [[nodiscard]] Result TryLock();

    /// After `InUse`: who holds it, as far as that can be told.
    [[nodiscard]] LockHolder Holder() const;

    [[nodiscard]] const QString& Path() const { return path_; }

private:
    [[nodiscard]] std::optional<LockHolder> ReadHolder() const;

    QString path_;
    QLockFile file_;
};

/// What is told of a folder that `holder` has by the lock at `path`, and what to do about one that was killed
/// and whose lock only its own user may take over.
[[nodiscard]] QString FolderInUseText(const QString& folder, const QString& path, const LockHolder& holder);

/// How taking a data folder ended: an exit code and, where it is not `kExitOk`, a text.
struct FolderTaken {
    int exitCode;
    QString problem;
};

/// Makes `folder` where it is missing and locks it for this program.
[[nodiscard]] FolderTaken TakeFolder(const QString& folder, FolderLock& lock);

}  // namespace corvane
