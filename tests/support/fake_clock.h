// A clock whose time moves only when a test says so.
#pragma once

#include <cstdint>
#include <vector>

#include "base/clock.h"

namespace corvane {

class FakeClock final : public Clock {
    Q_OBJECT

public:
    /// Starts at 2026-03-02 10:20:30, a Monday, wherever that is.
    FakeClock();
    explicit FakeClock(std::int64_t unixSeconds) : startSeconds_(unixSeconds) {}

    [[nodiscard]] LocalTime Now() const override { return LocalTimeAt(startSeconds_ + monotonic_ / 1000); }
    [[nodiscard]] std::int64_t Monotonic() const override { return monotonic_; }

    /// Lets time pass: pauses end at their very millisecond, and every full second ticks.
    void Advance(std::int64_t milliseconds);
    void AdvanceSeconds(std::int64_t seconds) { Advance(seconds * 1000); }

    /// The wall clock is set by so many seconds. The monotonic one goes on.
    void Jump(std::int64_t seconds) { startSeconds_ += seconds; }

    /// The machine sleeps that long: both clocks go on, and nothing ticks meanwhile.
    void Sleep(std::int64_t seconds) { monotonic_ += seconds * 1000; }

    [[nodiscard]] bool SomeoneWaits() const { return HasWaiters(); }

private:
    void Arm() override {}

    std::int64_t startSeconds_ = 0;
    std::int64_t monotonic_ = 0;
};

}  // namespace corvane
