// A folder for what a fuzz target needs on a disk: in memory where the machine has such a place.
#pragma once

#include <QDir>
#include <QTemporaryDir>

namespace corvane {

class QuickFolder {
public:
    [[nodiscard]] QString Path(const QString& name = {}) const {
        return name.isEmpty() ? folder_.path() : folder_.filePath(name);
    }

private:
    static QString Parent() {
        const QString memory = QStringLiteral("/dev/shm");
        return QDir(memory).exists() ? memory : QDir::tempPath();
    }

    QTemporaryDir folder_{Parent() + QStringLiteral("/corvane-fuzz-XXXXXX")};
};

}  // namespace corvane
