// The channels of a monitor: the one list of them, from which everything about channels derives.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

struct Channel {
    const char* name;
    const char* column;  ///< how the names of its columns in the capture database begin
    bool fiveByte;       ///< its watt-second counters have 40 bits, else 32
    bool polarized;      ///< it has a second counter, for one power direction, and tells its current
};

/// A channel is known everywhere by its place in this list.
inline constexpr auto kChannelTable = std::to_array<Channel>({
    {.name = "CH1", .column = "ch1", .fiveByte = true, .polarized = true},
    {.name = "CH2", .column = "ch2", .fiveByte = true, .polarized = true},
    {.name = "AUX1", .column = "aux1", .fiveByte = false, .polarized = false},
    {.name = "AUX2", .column = "aux2", .fiveByte = false, .polarized = false},
    {.name = "AUX3", .column = "aux3", .fiveByte = false, .polarized = false},
    {.name = "AUX4", .column = "aux4", .fiveByte = false, .polarized = false},
    {.name = "AUX5", .column = "aux5", .fiveByte = false, .polarized = false},
});

inline constexpr std::size_t kChannels = kChannelTable.size();

/// CH1 and CH2 stand in front of the AUX channels.
inline constexpr std::size_t kMainChannels = 2;

[[nodiscard]] constexpr const char* ChannelName(std::size_t channel) {
    return kChannelTable[channel].name;
}

/// The channel of that name, in any case of letters; nothing where there is none.
[[nodiscard]] std::optional<std::size_t> FindChannel(std::string_view name);

/// The columns of all channels that end in `end`, joined by commas: "ch1watt,ch2watt,aux1watt" and so on.
[[nodiscard]] std::string ChannelColumns(std::string_view end);

}  // namespace corvane
