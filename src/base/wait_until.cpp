#include "base/wait_until.h"

#include "base/clock.h"

namespace corvane {
namespace {

constexpr std::int64_t kLookEvery = 10;  // ms

}  // namespace

QCoro::Task<bool> WaitUntil(Clock& clock, std::function<bool()> done) {
    while (!done()) {
        // GCC 12 loses the coroutine where this co_await stands in the condition itself.
        const bool goesOn = co_await clock.DLY(kLookEvery);
        if (!goesOn) co_return false;
    }
    co_return true;
}

QCoro::Task<WaitEnd> WaitUntilSecond(Clock& clock, int second, std::function<bool()> holds) {
    bool held = false;
    const std::function<bool()> over = [&] {
        held = holds();
        return held || clock.Now().second == second;
    };
    const bool waited = co_await WaitUntil(clock, over);
    if (!waited) co_return WaitEnd::Closing;
    co_return held ? WaitEnd::Held : WaitEnd::Deadline;
}

int SecondFromNow(const Clock& clock, int seconds) {
    return (clock.Now().second + seconds) % 60;
}

}  // namespace corvane
