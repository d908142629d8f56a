// Realtime packets as a monitor sends them, laid out here by hand: the positions are written down a second
// time on purpose, so that a mistake in the program's own table shows.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

namespace corvane {

using Bytes = std::vector<std::uint8_t>;

enum class Model { TwoChannel, FiveChannel };

/// What a monitor reports, as the raw counts that it sends.
struct MonitorState {
    Model model = Model::FiveChannel;
    std::uint16_t voltTenths = 1205;
    std::uint64_t ch1Absolute = 0;
    std::uint64_t ch2Absolute = 0;
    std::uint64_t ch1Polarized = 0;
    std::uint64_t ch2Polarized = 0;
    std::uint16_t serialNumber = 1234;
    std::uint8_t flags = 0;
    std::uint8_t unitId = 3;
    std::uint16_t ch1Hundredths = 0;  ///< of an ampere
    std::uint16_t ch2Hundredths = 0;
    std::uint32_t seconds = 0;
    std::array<std::uint32_t, 5> aux{};
    std::uint16_t auxiliary = 0;
};

/// Puts `value` at `position`, counted from 1, low byte first.
inline void PutLowFirst(Bytes& packet, std::size_t position, int width, std::uint64_t value) {
    for (int i = 0; i < width; ++i, value /= 256)
        packet[position - 1 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value % 256);
}

/// Makes the last byte the sum of those in front of it, plus `error`.
inline void SetChecksum(Bytes& packet, int error = 0) {
    const int sum = std::accumulate(packet.begin(), packet.end() - 1, 0);
    packet.back() = static_cast<std::uint8_t>((sum + error) % 256);
}

inline Bytes PacketOf(const MonitorState& state) {
    const bool five = state.model == Model::FiveChannel;
    Bytes packet(five ? 65 : 43, 0);
    packet[0] = 0xFE;
    packet[1] = 0xFF;
    packet[2] = five ? 0x03 : 0x01;
    packet[3] = static_cast<std::uint8_t>(state.voltTenths / 256);  // the one field with the high byte first
    packet[4] = static_cast<std::uint8_t>(state.voltTenths % 256);
    PutLowFirst(packet, 6, 5, state.ch1Absolute);
    PutLowFirst(packet, 11, 5, state.ch2Absolute);
    PutLowFirst(packet, 16, 5, state.ch1Polarized);
    PutLowFirst(packet, 21, 5, state.ch2Polarized);
    PutLowFirst(packet, 30, 2, state.serialNumber);
    PutLowFirst(packet, 32, 1, state.flags);
    PutLowFirst(packet, 33, 1, state.unitId);
    PutLowFirst(packet, 34, 2, state.ch1Hundredths);
    PutLowFirst(packet, 36, 2, state.ch2Hundredths);
    PutLowFirst(packet, 38, 3, state.seconds);
    if (five) {
        PutLowFirst(packet, 41, 4, state.aux[0]);
        PutLowFirst(packet, 45, 4, state.aux[1]);
        PutLowFirst(packet, 49, 4, state.aux[2]);
        PutLowFirst(packet, 53, 4, state.aux[3]);
        PutLowFirst(packet, 57, 4, state.aux[4]);
        PutLowFirst(packet, 61, 2, state.auxiliary);
    }
    SetChecksum(packet);
    return packet;
}

}  // namespace corvane
