#include "store/sql_worker.h"

#include <QCoreApplication>
#include <QEvent>

#include <sqlite3.h>

#include <algorithm>
#include <utility>

namespace corvane {

namespace {

constexpr int kLockPatience = 5000;         // ms
constexpr int kStepsBetweenLooks = 10'000;  // of SQLite's virtual machine: some tenths of a millisecond

}  // namespace

SqlSession::SqlSession(SqlWorker& worker, const std::string& path, std::stop_token stop)
    : worker_(worker), stop_(std::move(stop)), connection_(CaptureDatabase::OpenFile(path, false)) {
    if (!connection_) return;
    sqlite3_busy_timeout(connection_.Handle(), kLockPatience);
    sqlite3_progress_handler(connection_.Handle(), kStepsBetweenLooks, &SqlSession::OnSteps, this);
}

void SqlSession::Begin(const QString& text, double rows) {
    rows_ = rows;
    told_.reset();
    QMetaObject::invokeMethod(
        &worker_, [&worker = worker_, text] { Q_EMIT worker.Told(text, std::nullopt); },
        Qt::QueuedConnection);
}

void SqlSession::Tell(int percent) {
    if (std::exchange(told_, percent) == percent) return;
    QMetaObject::invokeMethod(
        &worker_, [&worker = worker_, percent] { Q_EMIT worker.Told({}, percent); }, Qt::QueuedConnection);
}

/// Called by SQLite every so often while a statement runs; not 0 ends the statement.
int SqlSession::OnSteps(void* session) {
    auto& self = *static_cast<SqlSession*>(session);
    sqlite3_stmt* running = sqlite3_next_stmt(self.connection_.Handle(), nullptr);
    if (self.rows_ > 0 && running != nullptr) {
        const int stepped = sqlite3_stmt_status(running, SQLITE_STMTSTATUS_FULLSCAN_STEP, 0);
        self.Tell(std::min(static_cast<int>(100.0 * stepped / self.rows_), 99));
    }
    return self.MustStop() ? 1 : 0;
}

QCoro::Task<QueryResult> SqlWorker::Run(std::string path, SqlJob job) {
    if (std::exchange(busy_, true)) co_return QueryResult{.rows = {}, .errorText = "Another job is running."};
    thread_ = std::jthread([this, path = std::move(path), job = std::move(job)](std::stop_token stop) {
        QueryResult result;
        {
            SqlSession session(*this, path, std::move(stop));
            result = job(session);
        }  // the file is closed before anybody hears of it
        QMetaObject::invokeMethod(
            this, [this, result = std::move(result)]() mutable { Finish(std::move(result)); },
            Qt::QueuedConnection);
    });
    co_return co_await Result(*this);
}

void SqlWorker::End() {
    if (!busy_) return;
    Interrupt();
    thread_.join();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);  // the result is among them
}

void SqlWorker::Finish(QueryResult result) {
    if (thread_.joinable()) thread_.join();
    result_ = std::move(result);
    busy_ = false;
    std::exchange(waiter_, nullptr).resume();
}

}  // namespace corvane
