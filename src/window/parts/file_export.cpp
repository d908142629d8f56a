#include "window/parts/file_export.h"

#include <QFileInfo>

#include "base/clock.h"
#include "base/operator.h"
#include "store/capture_database.h"
#include "store/told_job.h"
#include "store/upkeep/database_files.h"

namespace corvane {

using namespace Qt::StringLiterals;

FileExport::FileExport(const CaptureDatabase& database, const DatabaseFiles& files, Clock& clock)
    : database_(database), clock_(clock) {
    QObject::connect(&files, &DatabaseFiles::ReadersMustEnd, &worker_, &SqlWorker::EndForGood);
}

QCoro::Task<std::optional<QString>> FileExport::AskPath(QString prompt, QString kind, Operator& op) {
    FileQuestion question{.prompt = std::move(prompt), .toMake = true};
    question.kind = std::move(kind);
    const std::optional<QString> path = co_await op.AskFile(std::move(question));
    if (!path || !QFileInfo::exists(*path)) co_return path;
    const bool replace =
        co_await op.AskYesNo(u"The file %1 exists. Would you like to replace it?"_s.arg(*path));
    if (!replace) co_return std::nullopt;
    co_return path;
}

QCoro::Task<Outcome> FileExport::Run(QString prompt, JobFor jobFor, Operator& op) {
    const std::optional<QString> path = co_await AskPath(prompt, u"csv"_s, op);
    if (!path) co_return Outcome::Success();
    QString operation = u"Writing %1"_s.arg(*path);
    SqlJob job = jobFor(path->toStdString());
    const QueryResult result =
        co_await RunTold(worker_, clock_, operation, database_.databasePath(), job, op);
    if (result.errorText == SqlWorker::kInterrupted)
        op.Show(u"The export was cancelled, and no file was made."_s);
    else if (result.Locked())
        co_return Outcome::Failure(
            u"Another program holds the database locked, and no file was made. Try again when it is free."_s);
    else if (!result.Ok())
        co_return Outcome::Failure(u"The file could not be written: "_s +
                                   QString::fromStdString(result.errorText));
    else
        op.Show(u"%1 rows were written to %2"_s.arg(
            QString::fromStdString(result.rows.front().front().value_or("0")), *path));
    co_return Outcome::Success();
}

}  // namespace corvane
