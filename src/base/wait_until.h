// Waits that end with a condition rather than after a time.
#pragma once

#include <QCoroTask>

#include <cstdint>
#include <functional>

namespace corvane {

class Clock;

/// Waits until `done`, which is asked at once and then every few milliseconds; all other events go on being
/// handled. False where the program closes first. A limit in time is part of the condition.
QCoro::Task<bool> WaitUntil(Clock& clock, std::function<bool()> done);

enum class WaitEnd : std::uint8_t {
    Held,      ///< the condition holds
    Deadline,  ///< the second came first
    Closing,   ///< the program closes
};

/// The same for a wait that ends by the clock on the wall, too: at the latest when its second of the minute
/// equals `second`; one above 59 never does.
QCoro::Task<WaitEnd> WaitUntilSecond(Clock& clock, int second, std::function<bool()> holds);

/// The second of the minute that is `seconds` (below 60) from now.
[[nodiscard]] int SecondFromNow(const Clock& clock, int seconds);

}  // namespace corvane
