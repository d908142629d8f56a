// What a simulated monitor measures, and what happens to it and its line: scenarios as data.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/channels.h"

namespace corvane {

inline constexpr std::size_t kMainPanel = 0;  ///< CH1
inline constexpr std::size_t kGenerator = 1;  ///< CH2

/// Power of CH1, CH2 and AUX1..AUX5 in whole watts. CH1 is negative while power goes out to the grid, CH2
/// while the inverter draws rather than generates.
using ChannelWatts = std::array<std::int32_t, kChannels>;

enum class CounterStart : std::uint8_t {
    Used,      ///< those of a monitor that has run for ten days
    BelowTop,  ///< a few packets before each starts again at 0
};

struct Scenario {
    std::string_view name;
    std::string_view summary;
    std::span<const ChannelWatts> day;  ///< spread evenly over 24 hours and joined by straight lines
    std::int32_t unrest = 0;            ///< generator and loads wander by up to so many thousandths
    CounterStart counters = CounterStart::Used;
    std::uint64_t restartAfter = 0;  ///< packets, after which all counters begin again; 0: never
    bool lineNoise = false;
};

[[nodiscard]] std::span<const Scenario> Scenarios();

/// Null where there is none of that name.
[[nodiscard]] const Scenario* FindScenario(std::string_view name);

/// Power at a second of the day, 0..86399, without its unrest.
[[nodiscard]] ChannelWatts WattsAt(const Scenario& scenario, std::int32_t secondOfDay);

}  // namespace corvane
