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
    bool pulseInput;     ///< it can count the pulses of a meter instead
};

/// A channel is known everywhere by its place in this list.
inline constexpr auto kChannelTable = std::to_array<Channel>({
    {.name = "CH1", .column = "ch1", .fiveByte = true, .polarized = true, .pulseInput = false},
    {.name = "CH2", .column = "ch2", .fiveByte = true, .polarized = true, .pulseInput = false},
    {.name = "AUX1", .column = "aux1", .fiveByte = false, .polarized = false, .pulseInput = true},
    {.name = "AUX2", .column = "aux2", .fiveByte = false, .polarized = false, .pulseInput = true},
    {.name = "AUX3", .column = "aux3", .fiveByte = false, .polarized = false, .pulseInput = true},
    {.name = "AUX4", .column = "aux4", .fiveByte = false, .polarized = false, .pulseInput = true},
    {.name = "AUX5", .column = "aux5", .fiveByte = false, .polarized = false, .pulseInput = false},
});

inline constexpr std::size_t kChannels = kChannelTable.size();

/// CH1 and CH2, which stand in front of the AUX channels.
inline constexpr std::size_t kMainChannels = 2;
static_assert(kChannelTable[kMainChannels - 1].polarized && !kChannelTable[kMainChannels].polarized);

[[nodiscard]] constexpr const char* ChannelName(std::size_t channel) {
    return kChannelTable[channel].name;
}

/// The channel of that name, in any case of letters; nothing where there is none.
[[nodiscard]] std::optional<std::size_t> FindChannel(std::string_view name);

/// The column of a channel that ends in `end`: "ch1watt".
[[nodiscard]] std::string ChannelColumn(std::size_t channel, std::string_view end);

/// Those of all channels, joined by commas: "ch1watt,ch2watt,aux1watt" and so on.
[[nodiscard]] std::string ChannelColumns(std::string_view end);

}  // namespace corvane
