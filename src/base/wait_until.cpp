#include "base/wait_until.h"

#include "base/clock.h"

namespace corvane {
namespace {

constexpr std::int64_t kLookEvery = 50;  // ms

}  // namespace

QCoro::Task<bool> WaitUntil(Clock& clock, std::function<bool()> done) {
    while (!done()) {
        // GCC 12 loses the coroutine where this co_await stands in the condition itself.
        const bool goesOn = co_await clock.DLY(kLookEvery);
        if (!goesOn) co_return false;
    }
    co_return true;
}

}  // namespace corvane
