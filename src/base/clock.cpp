#include "base/clock.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace corvane {
namespace {

constexpr std::int64_t kLongestTimer = 86'400'000;  // ms; a longer pause takes several

/// Goes on while the machine sleeps, other than Qt's.
std::int64_t MillisecondsAwakeAndAsleep() {
#ifdef __linux__
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
#else
    using std::chrono::duration_cast, std::chrono::milliseconds, std::chrono::steady_clock;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
#endif
}

}  // namespace

void Clock::EndWaits() {
    closing_ = true;
    while (HasWaiters()) {
        waiters_.extract(waiters_.begin()).mapped().resume();
    }
}

void Clock::ResumeDue() {
    while (HasWaiters() && NextDeadline() <= Monotonic()) {
        waiters_.extract(waiters_.begin()).mapped().resume();
    }
    if (HasWaiters()) Arm();
}

SystemClock::SystemClock() : start_(MillisecondsAwakeAndAsleep()) {
    pauseTimer_.setSingleShot(true);
    pauseTimer_.setTimerType(Qt::PreciseTimer);
    connect(&pauseTimer_, &QTimer::timeout, this, [this] { ResumeDue(); });
    connect(&secondTimer_, &QTimer::timeout, this, &Clock::SecondPassed);
    secondTimer_.start(std::chrono::seconds(1));
}

LocalTime SystemClock::Now() const {
    using std::chrono::duration_cast, std::chrono::seconds, std::chrono::system_clock;
    return now_.At(duration_cast<seconds>(system_clock::now().time_since_epoch()).count());
}

std::int64_t SystemClock::Monotonic() const {
    return MillisecondsAwakeAndAsleep() - start_;
}

void SystemClock::Arm() {
    const auto wait = std::clamp<std::int64_t>(NextDeadline() - Monotonic(), 0, kLongestTimer);
    pauseTimer_.start(std::chrono::milliseconds(wait));
}

}  // namespace corvane
