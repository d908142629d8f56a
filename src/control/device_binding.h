// Binding a device to the monitor that answers on the command target's link.
#pragma once

#include <QCoroTask>

#include <optional>

#include "base/outcome.h"

namespace corvane {

class DeviceSlots;
class MonitorSettings;
class Operator;

// All arguments must outlive the operation; slots are 1..6, and without one they fail.

/// Reads the settings of the monitor and binds `slot` to its serial text, after asking.
QCoro::Task<Outcome> BindDevice(std::optional<int> slot, MonitorSettings& monitor, DeviceSlots& slots,
                                Operator& op);

/// Looks which monitor answers, and offers to save its serial text for `slot`.
QCoro::Task<Outcome> FindDevice(std::optional<int> slot, MonitorSettings& monitor, DeviceSlots& slots,
                                Operator& op);

}  // namespace corvane
