#include "base/local_time.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace corvane {

LocalTime LocalTimeAt(std::int64_t unixSeconds) {
    const auto seconds = static_cast<std::time_t>(unixSeconds);
    std::tm parts{};
#ifdef _WIN32
    localtime_s(&parts, &seconds);
#else
    localtime_r(&seconds, &parts);
#endif
    return {.unixSeconds = unixSeconds,
            .year = parts.tm_year + 1900,
            .month = parts.tm_mon + 1,
            .day = parts.tm_mday,
            .hour = parts.tm_hour,
            .minute = parts.tm_min,
            .second = parts.tm_sec};
}

std::string DateTimeText(const LocalTime& time) {
    return DateMinuteText(time) + ClockText(time).substr(5);
}

std::string DateMinuteText(const LocalTime& time) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d", time.year, time.month, time.day,
                  time.hour, time.minute);
    return text.data();
}

std::string ClockText(const LocalTime& time) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d", time.hour, time.minute, time.second);
    return text.data();
}

}  // namespace corvane
