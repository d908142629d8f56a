#include "store/sql_worker.h"

#include <QCoreApplication>
#include <QEvent>

#include <sqlite3.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <utility>

namespace corvane {

namespace {

constexpr std::chrono::milliseconds kBetweenTries{10};
constexpr int kStepsBetweenLooks = 10'000;  // of SQLite's virtual machine: some tenths of a millisecond

/// What a job comes to, whatever it throws: beside memory that ran out, what the standard library throws of
/// files.
QueryResult ResultOf(const SqlJob& job, SqlSession& session) {
    try {
        return job(session);
    } catch (const std::exception& error) {
        return QueryResult::Failure(error.what());
    }
}

}  // namespace

SqlSession::SqlSession(SqlWorker& worker, const std::string& path, std::stop_token stop,
                       std::chrono::milliseconds lockPatience)
    : worker_(worker),
      stop_(std::move(stop)),
      lockPatience_(lockPatience),
      connection_(CaptureDatabase::OpenFile(path, false)) {
    if (!connection_) return;
    sqlite3_busy_handler(connection_.Handle(), &SqlSession::OnLocked, this);
    sqlite3_progress_handler(connection_.Handle(), kStepsBetweenLooks, &SqlSession::OnSteps, this);
}

void SqlSession::Begin(const QString& text, double rows) {
    SetHeld(false);
    rows_ = rows;
    told_.reset();
    QMetaObject::invokeMethod(
        &worker_, [&worker = worker_, text] { Q_EMIT worker.Told(text, std::nullopt); },
        Qt::QueuedConnection);
}

void SqlSession::Tell(int percent) {
    SetHeld(false);
    if (std::exchange(told_, percent) == percent) return;
    QMetaObject::invokeMethod(
        &worker_, [&worker = worker_, percent] { Q_EMIT worker.Told({}, percent); }, Qt::QueuedConnection);
}

/// Called by SQLite every so often while a statement runs; not 0 ends the statement.
int SqlSession::OnSteps(void* session) {
    auto& self = *static_cast<SqlSession*>(session);
    self.SetHeld(false);
    sqlite3_stmt* running = sqlite3_next_stmt(self.connection_.Handle(), nullptr);
    if (self.rows_ > 0 && running != nullptr) {
        const int stepped = sqlite3_stmt_status(running, SQLITE_STMTSTATUS_FULLSCAN_STEP, 0);
        self.Tell(std::min(static_cast<int>(100.0 * stepped / self.rows_), 99));
    }
    return self.MustStop() ? 1 : 0;
}

/// Called by SQLite where others hold the file locked, and again after each try; 0 gives up.
int SqlSession::OnLocked(void* session, int tries) {
    auto& self = *static_cast<SqlSession*>(session);
    const auto now = std::chrono::steady_clock::now();
    if (tries == 0) self.lockMet_ = now;
    self.gaveUp_ = self.gaveUp_ || self.MustStop() || now - self.lockMet_ >= self.lockPatience_;
    if (self.gaveUp_) return 0;
    self.SetHeld(true);
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any stopped;
    stopped.wait_for(lock, self.stop_, kBetweenTries, [] { return false; });
    return self.MustStop() ? 0 : 1;
}

void SqlSession::SetHeld(bool held) {
    if (std::exchange(held_, held) == held) return;
    QMetaObject::invokeMethod(
        &worker_, [&worker = worker_, held] { worker.SetHeld(held); }, Qt::QueuedConnection);
}

QCoro::Task<QueryResult> SqlWorker::Run(std::string path, SqlJob job,
                                        std::chrono::milliseconds lockPatience) {
    if (ended_) co_return QueryResult::Failure(kInterrupted);
    if (std::exchange(busy_, true)) co_return QueryResult::Failure("Another job is running.");
    const auto work = [this, path = std::move(path), job = std::move(job),
                       lockPatience](const std::stop_token& stop) {
        QueryResult result;
        {
            SqlSession session(*this, path, stop, lockPatience);
            result = ResultOf(job, session);
            if (result.Locked() && stop.stop_requested()) result.errorText = kInterrupted;
        }  // the file is closed before anybody hears of it
        QMetaObject::invokeMethod(
            this, [this, result = std::move(result)]() mutable { Finish(std::move(result)); },
            Qt::QueuedConnection);
    };
    std::string refused;
    try {
        thread_ = std::jthread(work);
    } catch (const std::system_error& error) {
        refused = error.what();
    }
    if (!refused.empty()) {
        busy_ = false;
        co_return QueryResult::Failure("The system has no room for another thread (" + refused +
                                       "); try again later.");
    }
    co_return co_await Result(*this);
}

void SqlWorker::End() {
    if (!busy_) return;
    Interrupt();
    thread_.join();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);  // the result is among them
}

void SqlWorker::EndForGood() {
    ended_ = true;
    End();
}

void SqlWorker::SetHeld(bool held) {
    if (std::exchange(held_, held) != held) Q_EMIT HeldChanged();
}

void SqlWorker::Finish(QueryResult result) {
    if (thread_.joinable()) thread_.join();
    result_ = std::move(result);
    busy_ = false;
    SetHeld(false);
    std::exchange(waiter_, nullptr).resume();
}

}  // namespace corvane
