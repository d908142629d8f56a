// Long SQL jobs beside the one thread: each on a thread and a connection of its own.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <chrono>
#include <coroutine>
#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "store/capture_database.h"

namespace corvane {

/// What a job has to work with. Lives on the job's thread, and ends with it.
class SqlSession {
public:
    SqlSession(class SqlWorker& worker, const std::string& path, std::stop_token stop,
               std::chrono::milliseconds lockPatience);
    SqlSession(const SqlSession&) = delete;
    SqlSession& operator=(const SqlSession&) = delete;

    /// The connection; false where the file could not be opened. A lock that others hold is waited for as
    /// long as the run has patience, and once that was in vain, no more. A statement that runs when the job
    /// is to stop ends with the error text "interrupted"; one that waits then, with "database is locked".
    [[nodiscard]] const CaptureDatabase::Connection& Database() const { return connection_; }

    /// Tells what is being done from now on. `rows` is how many rows the next statement is going to step
    /// over, from which the percentage is calculated; 0 where nobody knows.
    void Begin(const QString& text, double rows = 0);

    /// Tells the percentage of what is being done, for work that is not a statement.
    void Tell(int percent);

    [[nodiscard]] bool MustStop() const { return stop_.stop_requested(); }

private:
    static int OnSteps(void* session);
    static int OnLocked(void* session, int tries);
    void SetHeld(bool held);

    class SqlWorker& worker_;
    std::stop_token stop_;
    std::chrono::milliseconds lockPatience_;
    std::chrono::steady_clock::time_point lockMet_;
    bool gaveUp_ = false;
    bool held_ = false;
    CaptureDatabase::Connection connection_;
    double rows_ = 0;
    std::optional<int> told_;
};

/// What is to be said while a job waits for a lock of others.
inline const QString kHeldText =
    QStringLiteral("Waiting for the database, which another program holds locked.");

/// A job gets everything it needs by value, touches nothing else, and hands back rows or an error text. What
/// it throws is an error text, too.
using SqlJob = std::function<QueryResult(SqlSession&)>;

/// Runs one job at a time and hands its result to the event loop. Deleting it interrupts the job and waits
/// for its thread; it must not be deleted while somebody awaits the result.
class SqlWorker : public QObject {
    Q_OBJECT

public:
    static constexpr const char* kInterrupted = "interrupted";  ///< the error text of a job that was stopped
    static constexpr std::chrono::milliseconds kLockPatience{5000};

    SqlWorker() = default;

    /// Runs `job` on a connection to the file at `path`. Where there is no thread to be had, that is the
    /// error text.
    QCoro::Task<QueryResult> Run(std::string path, SqlJob job,
                                 std::chrono::milliseconds lockPatience = kLockPatience);

    [[nodiscard]] bool Busy() const { return busy_; }

    /// Whether the job waits for another program, which holds the file locked.
    [[nodiscard]] bool Held() const { return held_; }

    /// Lets the job that runs end soon.
    void Interrupt() { thread_.request_stop(); }

    /// Interrupts the job that runs, waits for its thread, and resumes who awaits it before coming back: what
    /// an owner that is being deleted calls, as its event loop will not.
    void End();

    /// The same as the program closes: every further job is interrupted before it begins.
    void EndForGood();

Q_SIGNALS:
    void HeldChanged();

    /// What the job tells of itself; no percentage where it is not known.
    void Told(const QString& text, std::optional<int> percent);

private:
    friend class SqlSession;

    /// Ends with the result, in the event loop.
    class Result {
    public:
        explicit Result(SqlWorker& worker) : worker_(worker) {}
        [[nodiscard]] bool await_ready() const noexcept { return false; }
        void await_suspend(std::coroutine_handle<> waiter) noexcept { worker_.waiter_ = waiter; }
        [[nodiscard]] QueryResult await_resume() { return std::move(worker_.result_); }

    private:
        SqlWorker& worker_;
    };

    void Finish(QueryResult result);
    void SetHeld(bool held);

    bool busy_ = false;
    bool held_ = false;
    bool ended_ = false;  ///< for good
    std::coroutine_handle<> waiter_;
    QueryResult result_;
    std::jthread thread_;
};

}  // namespace corvane
