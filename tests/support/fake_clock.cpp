#include "support/fake_clock.h"

#include <algorithm>

namespace corvane {

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
