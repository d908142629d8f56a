// Commands that ask before they do what cannot be undone.
#pragma once

#include <QCoroTask>

#include "base/outcome.h"

namespace corvane {

class DeviceSlots;
class Measurement;
class MonitorCommands;
class Operator;

// All arguments must outlive the command. Its question begins with the device, its serial text and its link.
// "No" to it is a failure that says so.

/// Has the target's monitor set its energy counters to 0, and sets the carries of all devices in use to 0.
QCoro::Task<Outcome> ResetAccumulatedValues(MonitorCommands& commands, const DeviceSlots& slots,
                                            Measurement& measurement, Operator& op);

/// The same of each device in use, one after the other: its monitor's counters, then its carries. Stops at
/// the first whose monitor cannot be told.
QCoro::Task<Outcome> ResetEachMonitor(MonitorCommands& commands, const DeviceSlots& slots,
                                      Measurement& measurement, Operator& op);

/// Sets the carries of all devices in use to 0. No monitor is told.
QCoro::Task<Outcome> ZeroCarryCounters(const DeviceSlots& slots, Measurement& measurement, Operator& op);

enum class PassThrough {
    Usual,
    Quick,  ///< with the short pause of `MonitorCommands::ThruMode` behind the command byte
};

/// Lets the target's monitor pass bytes through until its power is cycled.
QCoro::Task<Outcome> EnterPassThroughMode(MonitorCommands& commands, PassThrough how, Operator& op);

/// Restarts the target's monitor, which zeroes its counters.
QCoro::Task<Outcome> RestartMonitor(MonitorCommands& commands, Operator& op);

/// Erases what the data logger of the target's monitor holds.
QCoro::Task<Outcome> EraseDataLogger(MonitorCommands& commands, Operator& op);

/// Writes one byte (0..255) into the memory of the target's monitor.
QCoro::Task<Outcome> WriteMonitorMemory(MonitorCommands& commands, int address, int value, Operator& op);

}  // namespace corvane
