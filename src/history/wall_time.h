// The times of records: what the clock on the wall showed, and the hours, days and months it divides into.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// Seconds since 1970-01-01 00:00:00 as a clock on the wall counts them: without a zone, as the stamps of the
/// records are. The hour that the end of summer time repeats is there once, that which its beginning skips
/// stays empty.
using WallTime = std::int64_t;

inline constexpr WallTime kWallHour = 3600;
inline constexpr WallTime kWallDay = 24 * kWallHour;

/// The time that "yyyy-mm-dd hh:nn:ss" or "yyyy-mm-dd hh:nn" stands for; nothing for any other text.
[[nodiscard]] std::optional<WallTime> ParseStamp(std::string_view stamp);

/// "yyyy-mm-dd hh:nn:ss".
[[nodiscard]] std::string StampText(WallTime time);

/// The calendar's units. A week begins on Monday.
enum class CalendarUnit { Hour, Day, Week, Month, Year };

/// The beginning of the unit that `time` lies in.
[[nodiscard]] WallTime StartOf(CalendarUnit unit, WallTime time);

/// The beginning of the unit after that.
[[nodiscard]] WallTime NextStart(CalendarUnit unit, WallTime time);

}  // namespace corvane
