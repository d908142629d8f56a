// A second model of what becomes of the monitors' bytes: written from the rules alone, in whole numbers, and
// with nothing of the program's own. Slow and plain on purpose.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "support/packets.h"

namespace corvane {

inline constexpr std::size_t kCounters = 9;  ///< CH1, CH2 absolute, CH1, CH2 polarized, AUX1 to AUX5
inline constexpr double kNone = -1;
inline constexpr std::array<double, kCounters> kNoWatts = {-1, -1, -1, -1, -1, -1, -1, -1, -1};

/// What is to be seen of a device slot after a packet.
struct SlotValues {
    double volt = 0;
    double seconds = kNone;
    double elapsed = 0;
    bool restart = false;
    bool counterReset = false;
    std::array<float, 2> amps{};
    std::array<double, kCounters> watts = kNoWatts;
    std::array<double, kCounters> lastWatts = kNoWatts;
    std::array<double, kCounters> carry{};
    std::array<double, kCounters> kwh{};
    bool operator==(const SlotValues&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const SlotValues& v) {
    out << v.volt << " V, " << v.seconds << " s, elapsed " << v.elapsed << ", restart " << v.restart
        << ", reset " << v.counterReset << ", " << v.amps[0] << " A, " << v.amps[1] << " A";
    for (std::size_t i = 0; i < kCounters; ++i)
        out << "; " << v.watts[i] << " W, " << v.lastWatts[i] << " W, carry " << v.carry[i] << ", "
            << v.kwh[i];
    return out;
}

class SecondModel {
public:
    std::array<std::string, 6> bound;  ///< serial texts of Device A to F
    bool lineToLine = false;
    bool singleTwoChannel = false;
    std::array<bool, 5> hold{};  ///< the streams on which no packet is opened
    std::uint64_t good = 0;
    std::uint64_t bad = 0;
    std::map<std::string_view, int> met;  ///< how often each turn of the rules was taken

    [[nodiscard]] const SlotValues& Values(std::size_t slot) const { return slots_[slot].values; }

    void SetCarries(std::size_t slot, double carry) { slots_[slot].values.carry.fill(carry); }

    /// The program starts again: only the carries are kept.
    void Restart() {
        for (Slot& slot : slots_)
            slot = {.values = {.carry = slot.values.carry}};
        held_ = {};
        hold = {};
        good = bad = 0;
    }

    /// The index of the slot that this byte completed a packet of; nothing for any other byte.
    std::optional<std::size_t> Take(std::size_t stream, std::uint8_t byte) {
        Bytes& held = held_[stream];
        if (hold[stream] && held.size() < 3) return std::nullopt;
        held.push_back(byte);
        while (!MayBegin(held))
            held.erase(held.begin());
        if (held.size() < 3 || held.size() < (held[2] == 3 ? 65 : 43)) return std::nullopt;
        const Bytes packet = std::exchange(held, {});
        const int sum = std::accumulate(packet.begin(), packet.end() - 1, 0) % 256;
        const int last = packet.back();
        if (last != sum && last - 2 != sum && sum < 254 && last < 1) {
            ++bad;
            ++met["bad packet"];
            return std::nullopt;
        }
        ++good;
        if (last != sum) ++met["taken with a wrong checksum"];
        const auto slot = SlotOf(packet);
        if (slot.has_value()) Measure(slots_[*slot], packet);
        return slot;
    }

private:
    struct Slot {
        SlotValues values;
        std::array<std::int64_t, kCounters> now{};
        std::array<std::optional<std::int64_t>, kCounters> before{};
    };

    static bool MayBegin(const Bytes& held) {
        return held.empty() || (held[0] == 0xFE && (held.size() < 2 || held[1] == 0xFF) &&
                                (held.size() < 3 || held[2] == 1 || held[2] == 3));
    }

    static std::int64_t LowFirst(const Bytes& packet, std::size_t offset, std::size_t width) {
        std::int64_t value = 0;
        while (width-- > 0)
            value = value * 256 + packet[offset + width];
        return value;
    }

    std::optional<std::size_t> SlotOf(const Bytes& packet) {
        const std::string number = std::to_string(100'000 + LowFirst(packet, 29, 2)).substr(1);
        const bool fixed = singleTwoChannel && packet.size() != 65;
        const std::string serial = fixed ? "999998" : std::to_string(packet[32]) + number;
        std::optional<std::size_t> slot;
        for (std::size_t i = 0; i < bound.size(); ++i)
            if (bound[i] == serial) slot = i;
        if (fixed) ++met["the single two-channel monitor"];
        if (!slot.has_value()) ++met["bound to no slot"];
        return slot;
    }

    void Measure(Slot& slot, const Bytes& packet) {
        SlotValues& v = slot.values;
        const std::int64_t seconds = LowFirst(packet, 37, 3);
        const std::int64_t step = seconds - static_cast<std::int64_t>(v.seconds);
        const bool first = v.seconds == kNone;
        const bool back = !first && step < 0;
        v.restart = first || (back && v.seconds > 16'776'960);
        v.elapsed = static_cast<double>(v.restart ? 0 : back ? step + 16'777'216 : step);
        v.seconds = static_cast<double>(seconds);
        if (first) ++met["first packet"];
        if (back) ++met[v.restart ? "restart" : "wrap of the seconds"];
        v.volt = (256 * packet[3] + packet[4]) * (lineToLine ? 2 : 1) / 10.0;
        for (std::size_t i = 0; i < 2; ++i) {
            const std::int64_t tenths = (LowFirst(packet, 33 + 2 * i, 2) + 5) / 10;
            v.amps[i] = static_cast<float>(static_cast<double>(tenths) / 10);
        }
        for (std::size_t i = 0; i < kCounters; ++i) {
            v.watts[i] = kNone;
            const bool five = i < 4;
            const std::int64_t span = std::int64_t{1} << (five ? 40 : 32);
            if (five || packet.size() == 65) {
                slot.now[i] = five ? LowFirst(packet, 5 + 5 * i, 5) : LowFirst(packet, 40 + 4 * (i - 4), 4);
                Power(slot, i, span, five ? 48'500 : 32'500);
            }
            v.kwh[i] = static_cast<double>(std::int64_t(v.carry[i]) * span + slot.now[i]) / 3'600'000;
        }
    }

    void Power(Slot& slot, std::size_t i, std::int64_t span, std::int64_t limit) {
        SlotValues& v = slot.values;
        const std::int64_t now = slot.now[i];
        const auto elapsed = static_cast<std::int64_t>(v.elapsed);
        const bool begins = v.restart || !slot.before[i].has_value();
        if (!begins && elapsed == 0) return void(++met["no time passed"]);
        std::int64_t energy = now - std::exchange(slot.before[i], now).value_or(now);
        if (begins) return;
        if (energy < 0) {
            energy += span;
            const bool wrapped = now != 0 && energy < limit * elapsed;
            ++met[now == 0 ? "zeroed"
                  : i < 4  ? (wrapped ? "wrap of 40 bits" : "no wrap of 40 bits")
                           : (wrapped ? "wrap of 32 bits" : "no wrap of 32 bits")];
            if (!wrapped) return void(v.counterReset = true);
            if (v.carry[i] == 32'767) ++met["full carry"];
            if (v.carry[i] < 32'767) ++v.carry[i];
        }
        const std::int64_t watts = (2 * energy + elapsed) / (2 * elapsed);
        const bool tooMany = watts > std::numeric_limits<std::int32_t>::max();
        if (tooMany) return void(++met["more watts than a number holds"]);
        v.watts[i] = v.lastWatts[i] = static_cast<double>(watts);
    }

    std::array<Bytes, 5> held_;  ///< the packet that is open, or what its header may begin with
    std::array<Slot, 6> slots_;
};

}  // namespace corvane
