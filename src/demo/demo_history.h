// What simulated monitors would have left in the database by now.
#pragma once

#include <span>

#include "base/local_time.h"
#include "base/outcome.h"

namespace corvane {

class CaptureDatabase;
class SettingsStore;
class SimulatedMonitor;

inline constexpr int kSecondsPerRecord = 60;  ///< of that time

/// Writes the minute and hourly records of the `days` before `until`, of monitors that stand at the beginning
/// of that time and are bound by `settings`. They then stand at its end. The failure is that of the database.
Outcome WriteDemoHistory(std::span<SimulatedMonitor> monitors, int days, const LocalTime& until,
                         SettingsStore& settings, const CaptureDatabase& database);

}  // namespace corvane
