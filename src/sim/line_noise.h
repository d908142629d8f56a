// What a bad line puts between packets.
#pragma once

#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace corvane {

struct LineNoise {
    std::vector<std::uint8_t> bytes;  ///< on the line before the packet
    bool refused = false;         ///< a receiver takes them for the start of a packet, and refuses that one
    bool swallowsPacket = false;  ///< the refused one takes in the start of the packet, which is lost
};

/// Makes up what is on the line before `packet`: nothing at all, random bytes, part of a header, a damaged
/// packet, or a packet that was cut short. A packet taken to be there is always one that receivers refuse:
/// a zero checksum byte under a sum of 1..253. So they get to see what was sent, and nothing else.
[[nodiscard]] LineNoise MakeLineNoise(std::span<const std::uint8_t> packet, std::mt19937& random);

}  // namespace corvane
