#include "window/past/history_source.h"

#include <utility>

#include "store/capture_database.h"
#include "store/upkeep/database_files.h"

namespace corvane {

using namespace Qt::StringLiterals;

HistorySource::HistorySource(const CaptureDatabase& database, const DatabaseFiles& files,
                             std::chrono::milliseconds lockPatience)
    : database_(database), lockPatience_(lockPatience) {
    connect(&files, &DatabaseFiles::Adopted, this, [this] {
        ++databases_;
        worker_.Interrupt();
        devicesWanted_ = true;
        if (!std::exchange(devices_, {}).empty()) Q_EMIT DevicesChanged();
        Forget();
    });
    connect(&files, &DatabaseFiles::ReadersMustEnd, this, [this] { worker_.EndForGood(); });
    connect(&worker_, &SqlWorker::HeldChanged, this, [this] {
        if (!ending_) Q_EMIT StateChanged();
    });
}

HistorySource::~HistorySource() {
    ending_ = true;
    worker_.End();
}

QCoro::Task<std::optional<QueryResult>> HistorySource::Run(SqlJob job) {
    const int before = databases_;
    QueryResult result = co_await worker_.Run(database_.databasePath(), std::move(job), lockPatience_);
    if (ending_) co_return std::nullopt;
    if (before != databases_) co_return QueryResult::Failure(SqlWorker::kInterrupted);
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
    if (error_ == QueryResult::kLocked)
        return u"Another program holds the database locked; it is tried again."_s;
    return error_.empty() ? QString() : u"Reading failed: "_s + QString::fromStdString(error_);
}

}  // namespace corvane
