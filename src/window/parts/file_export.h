// Files that pages make for the user, under the name that is chosen in a dialog.
#pragma once

#include <QCoroTask>
#include <QString>

#include <functional>
#include <string>

#include "base/outcome.h"
#include "store/sql_worker.h"

namespace corvane {

class CaptureDatabase;
class Clock;
class DatabaseFiles;
class Operator;

class FileExport {
public:
    /// Makes the job that writes the file `path`.
    using JobFor = std::function<SqlJob(std::string path)>;

    FileExport(const CaptureDatabase& database, const DatabaseFiles& files, Clock& clock);

    /// Asks for a file, by its kind "csv" or "png"; nothing where none was chosen, or one that is to be kept.
    static QCoro::Task<std::optional<QString>> AskPath(QString prompt, QString kind, Operator& op);

    /// Asks for a CSV file, and runs its job on the database. At the end of the program it is given up.
    QCoro::Task<Outcome> Run(QString prompt, JobFor jobFor, Operator& op);

private:
    const CaptureDatabase& database_;
    Clock& clock_;
    SqlWorker worker_;
};

}  // namespace corvane
