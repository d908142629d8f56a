#include "support/fake_clock.h"

#include <algorithm>
#include <ctime>

namespace corvane {

FakeClock::FakeClock() {
    std::tm start{};
    start.tm_year = 126;
    start.tm_mon = 2;
    start.tm_mday = 2;
    start.tm_hour = 10;
    start.tm_min = 20;
    start.tm_sec = 30;
    start.tm_isdst = -1;
    startSeconds_ = std::mktime(&start);
}

void FakeClock::Advance(std::int64_t milliseconds) {
    const std::int64_t end = monotonic_ + milliseconds;
    while (true) {
        const std::int64_t nextTick = (monotonic_ / 1000 + 1) * 1000;
        const std::int64_t next = std::min(HasWaiters() ? NextDeadline() : end, std::min(nextTick, end));
        monotonic_ = std::max(monotonic_, next);
        ResumeDue();
        if (monotonic_ == nextTick) Q_EMIT SecondPassed();
        if (monotonic_ == end) return;
    }
}

}  // namespace corvane
