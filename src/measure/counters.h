// The arithmetic of finite watt-second counters: power from two readings, energy over all wraps.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

namespace corvane {

/// Steps of a counter before it starts again at 0: those of the main channels have 40 bits (five bytes),
/// those of the AUX channels 32.
inline constexpr double kMainSpan = 1099511627776.0;
inline constexpr double kAuxSpan = 4294967296.0;

/// Watts above which a counter that went backwards is taken as reset, not as wrapped.
inline constexpr double kMainWrapLimit = 48500;
inline constexpr double kAuxWrapLimit = 32500;

inline constexpr double kWattSecondsPerKwh = 3'600'000;

[[nodiscard]] constexpr double CounterSpan(bool fiveByte) {
    return fiveByte ? kMainSpan : kAuxSpan;
}

/// Whether a counter that went from `previous` down to `current` within `elapsedSeconds` has wrapped: the
/// power that this would mean must be below the limit.
constexpr void TestWrapAround(double previous, double current, double elapsedSeconds, bool fiveByte,
                              bool& accepted) {
    const double difference = current + CounterSpan(fiveByte) - previous;
    accepted = difference / elapsedSeconds < (fiveByte ? kMainWrapLimit : kAuxWrapLimit);
}

/// Energy over an interval as whole watts, halves rounded up; nothing where the figure has no room in 32
/// bits, as only a damaged packet could bring about.
[[nodiscard]] inline std::optional<std::int32_t> WholeWatts(double wattSeconds, double elapsedSeconds) {
    const double watts = std::round(wattSeconds / elapsedSeconds);
    if (!(watts <= std::numeric_limits<std::int32_t>::max())) return std::nullopt;
    return static_cast<std::int32_t>(watts);
}

/// What became of a counter between two packets.
enum class CounterStep { Forward, Wrapped, Restarted };

struct CounterChange {
    CounterStep step;
    double wattSeconds;  ///< used since the previous packet; 0 after a restart
};

/// Judges the way from `previous` to `current` in `elapsedSeconds` (above 0).
[[nodiscard]] constexpr CounterChange JudgeCounter(double previous, double current, double elapsedSeconds,
                                                   bool fiveByte) {
    if (current >= previous) return {CounterStep::Forward, current - previous};
    bool accepted = false;
    TestWrapAround(previous, current, elapsedSeconds, fiveByte, accepted);
    if (current == 0 || !accepted) return {CounterStep::Restarted, 0};
    return {CounterStep::Wrapped, current + CounterSpan(fiveByte) - previous};
}

/// The seconds counter of the monitors has 24 bits.
inline constexpr std::int32_t kSecondsSpan = 16777216;

/// Seconds from `previous` to `current`, or nothing where the monitor is taken as restarted. A counter that
/// went backwards is a restart where the previous value was within 256 of the top, and a wrap where it was
/// not: this sense is on purpose.
[[nodiscard]] constexpr std::optional<std::int32_t> ElapsedSeconds(std::int32_t previous,
                                                                   std::int32_t current) {
    if (current >= previous) return current - previous;
    if (previous > kSecondsSpan - 256) return std::nullopt;
    return current + kSecondsSpan - previous;
}

}  // namespace corvane
