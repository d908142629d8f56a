// A monitor that does not exist: it counts energy as the real ones do and sends their packets.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "link/packet.h"
#include "sim/scenario.h"

namespace corvane {

struct MonitorSerial {
    std::uint8_t unitId = 1;
    std::uint16_t number = 1;
};

/// Takes a serial text apart: the last five digits are the serial number, what stands before them the unit
/// id. The result is an error text where a packet could not carry it, or would show another text.
[[nodiscard]] std::variant<MonitorSerial, std::string> ParseMonitorSerial(std::string_view text);

struct MonitorConfig {
    const MonitorModel* model = &kFiveChannel;
    MonitorSerial serial = {};
    const Scenario* scenario = FindScenario("steady");
    std::uint32_t seed = 1;
    std::int32_t interval = 8;                 ///< seconds from packet to packet, 1..255
    std::int32_t startSecondOfDay = 6 * 3600;  ///< 0..86399; matters to scenarios with a day
    std::uint8_t commandByte = 252;            ///< what it takes for the beginning of a command
};

/// Two monitors with the same configuration send the same bytes, on every machine.
class SimulatedMonitor {
public:
    explicit SimulatedMonitor(const MonitorConfig& config);

    /// Lets one interval pass and returns what then comes over the line: the packet, behind the noise if the
    /// scenario has any. Valid until the next call.
    [[nodiscard]] std::span<const std::uint8_t> NextPacket();

    /// The packet sent last, without noise; before the first, one with the counters as they are.
    [[nodiscard]] std::span<const std::uint8_t> LastPacket() const {
        return {packet_.data(), config_.model->length};
    }

    /// Whether a packet is sent when an interval has passed; at first it is.
    [[nodiscard]] bool SendsRealtime() const { return sendsRealtime_; }
    void SendRealtime(bool on) { sendsRealtime_ = on; }

    /// Seconds from packet to packet.
    [[nodiscard]] std::int32_t Interval() const { return config_.interval; }
    [[nodiscard]] std::uint8_t CommandByte() const { return config_.commandByte; }
    void SetInterval(std::int32_t seconds) { config_.interval = std::max(seconds, std::int32_t{1}); }

    [[nodiscard]] MonitorSerial Serial() const { return config_.serial; }
    void SetSerial(MonitorSerial serial);

    /// All counters begin again at 0, the seconds among them.
    void Restart();

    /// The energy counters begin again at 0.
    void ResetEnergy();

    /// Whether noise swallowed the packet sent last: a receiver does not get to see it.
    [[nodiscard]] bool LastPacketLost() const { return lastPacketLost_; }

    /// Packets that a receiver took the noise for, and refused, so far.
    [[nodiscard]] std::uint32_t RefusedPackets() const { return refusedPackets_; }

    /// The fields of the packet sent last, as sent; 0 for those that the model does not have.
    [[nodiscard]] std::uint64_t Raw(Field field) const { return raw_[static_cast<std::size_t>(field)]; }
    [[nodiscard]] const std::array<std::uint64_t, kPacketFields.size()>& AllRaw() const { return raw_; }

    /// The power during the interval before the packet sent last.
    [[nodiscard]] const ChannelWatts& Watts() const { return watts_; }

private:
    void StartCounters();
    void StartBelowTop();
    void Measure();
    void CountEnergy();
    void Encode();
    void Add(Field field, std::uint64_t counts);
    void Set(Field field, std::uint64_t raw) { raw_[static_cast<std::size_t>(field)] = raw; }

    MonitorConfig config_;
    bool sendsRealtime_ = true;
    std::mt19937 random_;
    std::int32_t secondOfDay_;
    std::uint64_t packets_ = 0;
    ChannelWatts watts_{};
    std::array<std::uint64_t, kPacketFields.size()> raw_{};
    std::array<std::uint8_t, kLongestPacket> packet_{};
    std::vector<std::uint8_t> line_;
    bool lastPacketLost_ = false;
    std::uint32_t refusedPackets_ = 0;
};

}  // namespace corvane
