// The texts in which people read which monitors were heard.
#pragma once

#include <QString>

#include <vector>

namespace corvane {

struct MonitorModel;
struct UnboundMonitor;

/// "VRQ-5810".
[[nodiscard]] QString ModelName(const MonitorModel& model);

/// "301234 (VRQ-5810, Serial Connection A, 10:20:34)".
[[nodiscard]] QString UnboundText(const UnboundMonitor& monitor);

/// Names the monitors that were heard while no device answers to them, the first ten of them; empty where
/// there are none.
[[nodiscard]] QString UnboundText(const std::vector<UnboundMonitor>& monitors);

}  // namespace corvane
