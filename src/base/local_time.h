// Local wall-clock time, broken down, and the date texts that records and messages use.
#pragma once

#include <cstdint>
#include <string>

namespace corvane {

/// One moment in local time. The fields are what a clock on the wall shows; `unixSeconds` is the same moment
/// in UTC and is what spans of time are calculated with, so that a change to summer time shortens nothing.
struct LocalTime {
    std::int64_t unixSeconds = 0;
    int year = 1970;
    int month = 1;   ///< 1..12
    int day = 1;     ///< 1..31
    int hour = 0;    ///< 0..23
    int minute = 0;  ///< 0..59
    int second = 0;  ///< 0..60

    bool operator==(const LocalTime&) const = default;
};

/// Breaks down a count of seconds since 1970-01-01 UTC in the time zone of this machine.
[[nodiscard]] LocalTime LocalTimeAt(std::int64_t unixSeconds);

/// The same for a clock that is looked at many times a second: what was broken down last is kept.
class LastLocalTime {
public:
    [[nodiscard]] const LocalTime& At(std::int64_t unixSeconds) {
        if (unixSeconds != last_.unixSeconds) last_ = LocalTimeAt(unixSeconds);
        return last_;
    }

private:
    LocalTime last_ = LocalTimeAt(0);
};

/// "yyyy-mm-dd hh:nn:ss", the stamp of minute and hourly records.
[[nodiscard]] std::string DateTimeText(const LocalTime& time);

/// "yyyy-mm-dd hh:nn", the stamp of power and energy records.
[[nodiscard]] std::string DateMinuteText(const LocalTime& time);

/// "hh:nn:ss".
[[nodiscard]] std::string ClockText(const LocalTime& time);

}  // namespace corvane
