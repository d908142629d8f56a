// The live values of a device slot.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "base/channels.h"
#include "base/local_time.h"
#include "link/packet.h"
#include "measure/counters.h"
#include "measure/ledger_entry.h"

namespace corvane {

/// One watt-second counter: what the monitor counts, and how often it wrapped.
struct EnergyCounter {
    bool fiveByte = true;    ///< a 40-bit counter, else one of 32 bits
    std::int16_t carry = 0;  ///< wraps so far; kept in the settings
    double current = 0;      ///< watt-seconds at the last packet

    /// Watt-seconds from which the next power is calculated; nothing before the first packet.
    std::optional<double> previous;

    /// Watts since the previous packet; nothing where this packet gave none.
    std::optional<std::int32_t> watts;

    /// Watts of the last packet that gave any; nothing before the first.
    std::optional<std::int32_t> lastWatts;

    /// Watt-seconds over all wraps.
    [[nodiscard]] double Lifetime() const { return carry * CounterSpan(fiveByte) + current; }
    [[nodiscard]] double Kwh() const { return Lifetime() / kWattSecondsPerKwh; }
};

struct ChannelReadings {
    EnergyCounter absolute;
    EnergyCounter polarized;  ///< energy of one power direction, where the channel is polarized
    float amps = 0;           ///< one decimal; of polarized channels, too
};

/// How much of a device is to be heard right now.
enum class Presence : std::uint8_t {
    Never,    ///< nothing since the start
    Live,     ///< its packets come
    Stale,    ///< four of them are missing
    OffLine,  ///< none came for two minutes
};

/// "on line", "stale", or "off line", as it is told everywhere.
[[nodiscard]] constexpr const char* PresenceText(Presence presence) {
    return presence == Presence::Live ? "on line" : presence == Presence::Stale ? "stale" : "off line";
}

struct DeviceReadings {
    int slot = 1;                         ///< 1..6
    std::string serial;                   ///< of the last packet; empty before the first
    const MonitorModel* model = nullptr;  ///< of the last packet; null before the first
    int stream = 0;                       ///< the receive stream, 0..4, of the last packet
    LocalTime time;                       ///< of the last packet
    std::int64_t at = 0;                  ///< the same in ms, by the clock that is never set back
    double volt = 0;                      ///< one decimal
    std::optional<std::int32_t> seconds;  ///< the monitor's seconds counter
    std::int32_t elapsed = 0;             ///< seconds since the packet before; 0 where unknown
    std::int64_t elapsedClock = 0;        ///< ms since the packet before, by the clock that is never set
    bool restart = false;                 ///< this packet may not yield watts
    bool counterReset = false;  ///< a watt-second counter was found to have restarted, now or before
    std::array<ChannelReadings, kChannels> channels;

    [[nodiscard]] bool Seen() const { return !serial.empty(); }

    /// Whether the last packet gave the watts of a channel.
    [[nodiscard]] bool HasPower() const {
        return std::ranges::any_of(
            channels, [](const ChannelReadings& channel) { return channel.absolute.watts.has_value(); });
    }

    [[nodiscard]] std::int64_t ElapsedClockSeconds() const { return (elapsedClock + 500) / 1000; }

    [[nodiscard]] EnergyCounter& Counter(const CounterName& name) {
        ChannelReadings& channel = channels[name.channel];
        return name.polarized ? channel.polarized : channel.absolute;
    }
    [[nodiscard]] const EnergyCounter& Counter(const CounterName& name) const {
        const ChannelReadings& channel = channels[name.channel];
        return name.polarized ? channel.polarized : channel.absolute;
    }
};

}  // namespace corvane
