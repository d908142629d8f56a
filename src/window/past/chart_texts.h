// How a chart names its times and values.
#pragma once

#include <QDateTime>
#include <QString>

#include "history/wall_time.h"

namespace corvane {

/// What a chart measures.
enum class Measure { Power, Energy, Cost };

/// A wall time as Qt has it, in a zone that knows no summer.
[[nodiscard]] QDateTime DateTimeOf(WallTime time);

/// The name of the unit that begins at `time`: brief below a bar, or whole.
[[nodiscard]] QString BarName(CalendarUnit unit, WallTime time, bool brief);

/// With its unit; a dash for NaN.
[[nodiscard]] QString ValueText(Measure measure, double value);

}  // namespace corvane
