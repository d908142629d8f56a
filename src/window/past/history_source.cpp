#include "window/past/history_source.h"

#include <utility>

#include "store/capture_database.h"
#include "store/upkeep/database_files.h"

namespace corvane {

using namespace Qt::StringLiterals;

HistorySource::HistorySource(const CaptureDatabase& database, const DatabaseFiles& files)
    : database_(database) {
    connect(&files, &DatabaseFiles::Adopted, this, [this] {
        devicesWanted_ = true;
        if (!std::exchange(devices_, {}).empty()) Q_EMIT DevicesChanged();
        Forget();
    });
    connect(&files, &DatabaseFiles::ReadersMustEnd, this, [this] {
        readingEnded_ = true;
        worker_.End();
    });
}

HistorySource::~HistorySource() {
    ending_ = true;
    worker_.End();
}

QCoro::Task<std::optional<QueryResult>> HistorySource::Run(SqlJob job) {
    if (readingEnded_) co_return QueryResult::Failure(SqlWorker::kInterrupted);
    QueryResult result = co_await worker_.Run(database_.databasePath(), std::move(job));
    if (ending_) co_return std::nullopt;
    co_return result;
}

void HistorySource::TakeDevices(const QueryResult& rows) {
    devicesWanted_ = !rows.Ok();
    if (!rows.Ok()) return;
    std::vector<HistoryDevice> devices = DevicesOf(rows);
    if (std::exchange(devices_, devices) != devices) Q_EMIT DevicesChanged();
}

void HistorySource::SetError(const std::string& error) {
    if (error != SqlWorker::kInterrupted) error_ = error;
    Q_EMIT StateChanged();
}

QString HistorySource::ErrorText() const {
    return error_.empty() ? QString() : u"Reading failed: "_s + QString::fromStdString(error_);
}

}  // namespace corvane
