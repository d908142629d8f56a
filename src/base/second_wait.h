// Waits that end by the clock on the wall: until something holds, or until a certain second of a minute.
#pragma once

#include <QCoroTask>

#include <functional>

namespace corvane {

class Clock;

enum class WaitEnd {
    Held,      ///< the condition holds
    Deadline,  ///< the second came first
    Closing,   ///< the program closes
};

/// Looks every few milliseconds whether `holds`, first at once, while all other events go on. Ends at the
/// latest when the clock's second of the minute equals `second`; one above 59 never does.
QCoro::Task<WaitEnd> WaitUntilSecond(Clock& clock, int second, std::function<bool()> holds);

/// The second of the minute that is `seconds` (below 60) from now.
[[nodiscard]] int SecondFromNow(const Clock& clock, int seconds);

}  // namespace corvane
