#include "base/clock.h"

#include <algorithm>
#include <chrono>

namespace corvane {
namespace {

constexpr std::int64_t kLongestTimer = 86'400'000;  // ms; a longer pause takes several

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

SystemClock::SystemClock() {
    elapsed_.start();
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
    return elapsed_.elapsed();
}

void SystemClock::Arm() {
    const auto wait = std::clamp<std::int64_t>(NextDeadline() - Monotonic(), 0, kLongestTimer);
    pauseTimer_.start(std::chrono::milliseconds(wait));
}

}  // namespace corvane
