#include "base/second_wait.h"

#include "base/clock.h"

namespace corvane {
namespace {

constexpr std::int64_t kLook = 10;  // ms

}  // namespace

QCoro::Task<WaitEnd> WaitUntilSecond(Clock& clock, int second, std::function<bool()> holds) {
    while (!holds()) {
        if (clock.Now().second == second) co_return WaitEnd::Deadline;
        // By itself: GCC 12 miscompiles an await within a condition here.
        const bool goesOn = co_await clock.DLY(kLook);
        if (!goesOn) co_return WaitEnd::Closing;
    }
    co_return WaitEnd::Held;
}

int SecondFromNow(const Clock& clock, int seconds) {
    const int second = clock.Now().second + seconds;
    return second > 59 ? second - 60 : second;
}

}  // namespace corvane
