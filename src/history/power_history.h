// Power over time, as the minute records of one device have it, and the line that is drawn of it.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "base/channels.h"
#include "history/wall_time.h"

namespace corvane {

/// While a device is on line, its minute records are never further apart: the first packet of a minute may
/// come at its very end, and one later than 120 s after the last means that the device was off line.
inline constexpr WallTime kPowerGap = 180;

/// The minute records of a device in the order of their times.
struct PowerHistory {
    std::vector<WallTime> times;
    std::array<std::vector<float>, kChannels> watts;  ///< NaN for NULL

    /// Adds a record.
    void Add(WallTime time, const std::array<float, kChannels>& values);

    /// Puts records that came while a clock was set back in their places. To be called after the last `Add`.
    void Sort();

    /// The record nearest to `time`; -1 where none is within `kPowerGap`.
    [[nodiscard]] std::ptrdiff_t Nearest(WallTime time) const;
};

/// A point of a line: a record, or many that share a column. NaN in all values breaks the line.
struct TracePoint {
    double time;
    double lowest;
    double highest;
    double mean;
};

/// The line of one channel from `from` to `to`, both included: its records and one further at either side, or
/// where there are more than `columns`, a point in the middle of each of so many equal parts that has any.
/// The line is broken wherever records are more than `kPowerGap` apart.
[[nodiscard]] std::vector<TracePoint> TraceOf(const PowerHistory& history, std::size_t channel, WallTime from,
                                              WallTime to, int columns);

}  // namespace corvane
