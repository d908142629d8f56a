// The one source of time: what hour it is, pauses that keep the program alive, and the tick of the second.
#pragma once

#include <QObject>
#include <QTimer>

#include <algorithm>
#include <coroutine>
#include <cstdint>
#include <map>

#include "base/local_time.h"

namespace corvane {

/// Everything that depends on time asks a Clock, so that tests can step it. It must outlive its waiters.
class Clock : public QObject {
    Q_OBJECT

public:
    /// What `co_await clock.DLY(...)` waits on. The result is true after the full pause, and false when the
    /// wait was ended because the program closes: the caller then gives up what it was doing.
    class [[nodiscard]] Pause {
    public:
        Pause(Clock& clock, std::int64_t milliseconds)
            : clock_(clock), milliseconds_(std::max<std::int64_t>(milliseconds, 1)) {}
        [[nodiscard]] bool await_ready() const noexcept { return clock_.closing_; }
        void await_suspend(std::coroutine_handle<> waiter) {
            clock_.waiters_.emplace(clock_.Monotonic() + milliseconds_, waiter);
            clock_.Arm();
        }
        [[nodiscard]] bool await_resume() const noexcept { return !clock_.closing_; }

    private:
        Clock& clock_;
        std::int64_t milliseconds_;
    };

    /// Local time now, to the second.
    [[nodiscard]] virtual LocalTime Now() const = 0;

    /// Milliseconds since some fixed moment, those that the machine slept among them. Never set, unlike the
    /// wall clock: how long ago something was is judged by this one.
    [[nodiscard]] virtual std::int64_t Monotonic() const = 0;

    /// A pause in milliseconds, at least 1, during which all other events go on being handled.
    Pause DLY(std::int64_t milliseconds) { return {*this, milliseconds}; }

    /// Ends every pause that still runs, and every later one at once. Called when the program closes.
    void EndWaits();

Q_SIGNALS:
    /// Once a second; all countdowns hang on it.
    void SecondPassed();

protected:
    /// Sees to it that `ResumeDue` is called at `NextDeadline`, or soon after.
    virtual void Arm() = 0;

    [[nodiscard]] bool HasWaiters() const { return !waiters_.empty(); }
    [[nodiscard]] std::int64_t NextDeadline() const { return waiters_.begin()->first; }

    /// Resumes the waiters whose deadline is reached, earliest first.
    void ResumeDue();

private:
    std::multimap<std::int64_t, std::coroutine_handle<>> waiters_;
    bool closing_ = false;
};

/// The machine's own clock.
class SystemClock final : public Clock {
    Q_OBJECT

public:
    SystemClock();
    [[nodiscard]] LocalTime Now() const override;
    [[nodiscard]] std::int64_t Monotonic() const override;

private:
    void Arm() override;

    mutable LastLocalTime now_;  ///< breaking time down is dear, and Now() is asked for every packet
    std::int64_t start_;         ///< ms, of the clock that goes on while the machine sleeps
    QTimer pauseTimer_;
    QTimer secondTimer_;
};

}  // namespace corvane
