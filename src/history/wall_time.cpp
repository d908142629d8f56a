#include "history/wall_time.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace corvane {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

/// -1 where the characters are not two digits.
int TwoDigits(std::string_view text, std::size_t at) {
    const int tens = text[at] - '0';
    const int ones = text[at + 1] - '0';
    return tens < 0 || tens > 9 || ones < 0 || ones > 9 ? -1 : 10 * tens + ones;
}

sys_days DayOf(WallTime time) {
    return sys_days(std::chrono::floor<days>(std::chrono::seconds(time)));
}

WallTime MidnightOf(sys_days day) {
    return std::chrono::duration_cast<std::chrono::seconds>(day.time_since_epoch()).count();
}

}  // namespace

std::optional<WallTime> ParseStamp(std::string_view stamp) {
    if ((stamp.size() != 19 && stamp.size() != 16) || stamp[4] != '-' || stamp[7] != '-' ||
        stamp[10] != ' ' || stamp[13] != ':' || (stamp.size() == 19 && stamp[16] != ':'))
        return std::nullopt;
    const int century = TwoDigits(stamp, 0);
    const int year = TwoDigits(stamp, 2);
    const int month = TwoDigits(stamp, 5);
    const int day = TwoDigits(stamp, 8);
    const int hour = TwoDigits(stamp, 11);
    const int minute = TwoDigits(stamp, 14);
    const int second = stamp.size() == 19 ? TwoDigits(stamp, 17) : 0;
    if (century < 0 || year < 0 || month < 0 || day < 0 || hour < 0 || hour > 23 || minute < 0 ||
        minute > 59 || second < 0 || second > 60)
        return std::nullopt;
    const year_month_day date{std::chrono::year(100 * century + year),
                              std::chrono::month(static_cast<unsigned>(month)),
                              std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok()) return std::nullopt;
    return MidnightOf(sys_days(date)) + hour * kWallHour + minute * 60 + second;
}

std::string StampText(WallTime time) {
    const sys_days day = DayOf(time);
    const year_month_day date(day);
    const auto seconds = static_cast<int>(time - MidnightOf(day));
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), seconds / 3600,
                  seconds / 60 % 60, seconds % 60);
    return text.data();
}

WallTime StartOf(CalendarUnit unit, WallTime time) {
    const sys_days day = DayOf(time);
    const year_month_day date(day);
    switch (unit) {
        case CalendarUnit::Hour:
            return MidnightOf(day) + (time - MidnightOf(day)) / kWallHour * kWallHour;
        case CalendarUnit::Day:
            return MidnightOf(day);
        case CalendarUnit::Week:
            return MidnightOf(day - (std::chrono::weekday(day) - std::chrono::Monday));
        case CalendarUnit::Month:
            return MidnightOf(date.year() / date.month() / 1);
        case CalendarUnit::Year:
            break;
    }
    return MidnightOf(date.year() / std::chrono::January / 1);
}

WallTime NextStart(CalendarUnit unit, WallTime time) {
    // So long that it ends in the next unit, and so short that it does not pass that.
    static constexpr std::array<WallTime, 5> kLongEnough = {kWallHour, kWallDay, 7 * kWallDay, 31 * kWallDay,
                                                            366 * kWallDay};
    return StartOf(unit, StartOf(unit, time) + kLongEnough[static_cast<std::size_t>(unit)]);
}

}  // namespace corvane
