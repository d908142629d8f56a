// Waits that end with a condition rather than after a time.
#pragma once

#include <QCoroTask>

#include <functional>

namespace corvane {

class Clock;

/// Waits until `done`, which is asked at once and then every 50 ms; all other events go on being handled.
/// False where the program closes first. A limit in time is part of the condition.
QCoro::Task<bool> WaitUntil(Clock& clock, std::function<bool()> done);

}  // namespace corvane
