// One program per data folder: two would write every record twice.
#pragma once

#include <QLockFile>
#include <QString>

#include <optional>

namespace corvane {

class FolderLock {
public:
    explicit FolderLock(const QString& dataFolder);

    enum class Result { Locked, InUse, Failed };

    /// Holds the lock until this object goes. The lock of a program that was killed is taken over.
    [[nodiscard]] Result TryLock();

    /// After `InUse`: who holds it, as far as that can be told.
    [[nodiscard]] QString Holder() const;

private:
    [[nodiscard]] std::optional<QString> ReadHolder() const;

    QLockFile file_;
};

/// How taking a data folder ended: an exit code and, where it is not `kExitOk`, a text.
struct FolderTaken {
    int exitCode;
    QString problem;
};

/// Makes `folder` where it is missing and locks it for this program.
[[nodiscard]] FolderTaken TakeFolder(const QString& folder, FolderLock& lock);

}  // namespace corvane
