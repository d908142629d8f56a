// Commands that ask before they do what cannot be undone.
#pragma once

#include <QCoroTask>

#include "base/outcome.h"

namespace corvane {

class DeviceSlots;
class Measurement;
class MonitorCommands;
class Operator;

// All arguments must outlive the command. "No" to its question is a failure that says so.

/// Has the target's monitor set its energy counters to 0, and sets the carries of all devices in use to 0.
QCoro::Task<Outcome> ResetAccumulatedValues(MonitorCommands& commands, const DeviceSlots& slots,
                                            Measurement& measurement, Operator& op);

/// Sets the carries of all devices in use to 0. No monitor is told.
QCoro::Task<Outcome> ZeroCarryCounters(const DeviceSlots& slots, Measurement& measurement, Operator& op);

/// Lets the target's monitor pass bytes through until its power is cycled.
QCoro::Task<Outcome> EnterPassThroughMode(MonitorCommands& commands, Operator& op);

/// Erases what the data logger of the target's monitor holds.
QCoro::Task<Outcome> EraseDataLogger(MonitorCommands& commands, Operator& op);

/// Writes one byte (0..255) into the memory of the target's monitor.
QCoro::Task<Outcome> WriteMonitorMemory(MonitorCommands& commands, int address, int value, Operator& op);

}  // namespace corvane
