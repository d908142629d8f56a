// Which file the capture goes to: found at start-up, made where there never was one.
#pragma once

#include <QCoroTask>
#include <QString>

#include "base/outcome.h"

namespace corvane {

class CaptureDatabase;
class Operator;
class SettingsStore;

class DatabaseFiles {
public:
    /// `dataFolder` is where a bare file name lies.
    DatabaseFiles(CaptureDatabase& database, SettingsStore& settings, QString dataFolder);

    /// Finds and validates the file of the setting `DBfile` at start-up and puts it in force. Where no
    /// database was ever established a new one is made; where one was and its file is gone, that is the
    /// failure: a new file would scatter the data.
    QCoro::Task<Outcome> GetDBfile2(Operator& op);

    /// Makes a fresh database at `path` and offers to use it from now on. On an error offers to delete the
    /// file. True where the file is now in force.
    QCoro::Task<bool> CreateNewDB(QString path, Operator& op);

private:
    [[nodiscard]] QString FullPath(const QString& name) const;
    void Adopt(const QString& path);

    CaptureDatabase& database_;
    SettingsStore& settings_;
    QString dataFolder_;
};

}  // namespace corvane
