#include "sim/line_noise.h"

#include <algorithm>
#include <array>

#include "link/packet.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

std::uint8_t AnyByte(std::mt19937& random) {
    return static_cast<std::uint8_t>(random());
}

LineNoise Quiet(Packet /*packet*/, std::mt19937& /*random*/) {
    return {};
}

/// Without the first byte of a header, so that none comes about by chance.
LineNoise RandomBytes(Packet packet, std::mt19937& random) {
    std::vector<std::uint8_t> bytes(1 + random() % 40);
    for (std::uint8_t& byte : bytes) {
        byte = AnyByte(random);
        if (byte == packet[0]) ++byte;
    }
    return {.bytes = std::move(bytes)};
}

constexpr std::uint8_t kNoModel = 0x02;
static_assert(ModelOfHeader(kNoModel) == nullptr);

/// The packet's own header follows, so that none of these makes a whole one with it.
LineNoise HeaderFragment(Packet packet, std::mt19937& random) {
    const std::array<std::vector<std::uint8_t>, 5> fragments = {{
        {packet[0]},
        {packet[0], packet[1]},
        {packet[0], packet[0], packet[1]},
        {packet[0], packet[1], kNoModel},
        {packet[1], packet[2]},
    }};
    return {.bytes = fragments[random() % fragments.size()]};
}

/// The start of a packet of any model, the rest of it turned to noise.
LineNoise DamagedPacket(Packet packet, std::mt19937& random) {
    const MonitorModel& model = kModels[random() % kModels.size()];
    const auto shorter = std::min(packet.size(), model.length);
    const auto intact = static_cast<std::ptrdiff_t>(kHeaderLength + random() % (shorter - kHeaderLength));
    std::vector<std::uint8_t> bytes(model.length);
    std::copy_n(packet.begin(), intact, bytes.begin());
    std::generate(bytes.begin() + intact, bytes.end(), [&random] { return AnyByte(random); });
    bytes[2] = model.thirdHeaderByte;
    bytes.back() = 0;
    if (IsAccepted(PacketChecksum(bytes), 0)) {
        std::uint8_t& last = bytes[model.length - 2];
        last = static_cast<std::uint8_t>(last + 3);  // the sum is 254, 255 or 0, and becomes 1, 2 or 3
    }
    return {.bytes = std::move(bytes), .refused = true};
}

/// A packet cut short takes in the start of the next one. Cut where the two together are refused, and where
/// the bytes left over open no packet; quiet where there is no such place.
LineNoise CutPacket(Packet packet, std::mt19937& random) {
    const std::size_t places = packet.size() - kHeaderLength - 1;
    const std::size_t start = random() % places;
    for (std::size_t i = 0; i < places; ++i) {
        const std::size_t kept = kHeaderLength + (start + i) % places;
        std::vector<std::uint8_t> bytes(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(kept));
        const Packet leftOver = packet.last(kept);
        std::vector<std::uint8_t> joined = bytes;
        joined.insert(joined.end(), packet.begin(), packet.end() - static_cast<std::ptrdiff_t>(kept));
        const bool accepted = IsAccepted(PacketChecksum(joined), joined.back());
        if (!accepted && std::find(leftOver.begin(), leftOver.end(), packet[0]) == leftOver.end())
            return {.bytes = std::move(bytes), .refused = true, .swallowsPacket = true};
    }
    return {};
}

constexpr std::array kKinds = {&Quiet, &RandomBytes, &HeaderFragment, &DamagedPacket, &CutPacket};

}  // namespace

LineNoise MakeLineNoise(Packet packet, std::mt19937& random) {
    return kKinds[random() % kKinds.size()](packet, random);
}

}  // namespace corvane
