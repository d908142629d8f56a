#include "link/framer.h"

namespace corvane {
namespace {

constexpr std::uint8_t kFirstHeaderByte = 0xFE;
constexpr std::uint8_t kSecondHeaderByte = 0xFF;

}  // namespace

void Framer::KeepRaw(Stream& s, std::uint8_t byte) {
    // Dropped by halves, so that a busy stream does not move the whole text at every byte.
    if (s.rawText.size() == kRawTextKept) s.rawText.erase(0, kRawTextKept / 2);
    s.rawText += static_cast<char>(byte);
}

void Framer::Hunt(Stream& s, std::uint8_t byte) {
    if (s.packetHold) return;
    s.oldest = s.previous;
    s.previous = s.newest;
    s.newest = byte;
    if (s.oldest != kFirstHeaderByte || s.previous != kSecondHeaderByte) return;
    if (s.newest == kTwoChannel.thirdHeaderByte) {
        Open(s, kTwoChannel);
    } else if (s.newest == kFiveChannel.thirdHeaderByte) {
        Open(s, kFiveChannel);
    }
}

void Framer::Open(Stream& s, const PacketKind& kind) {
    s.kind = &kind;
    s.lastKind = &kind;
    s.packet[0] = s.oldest;
    s.packet[1] = s.previous;
    s.packet[2] = s.newest;
    s.count = kHeaderLength;
    s.sum = static_cast<std::uint8_t>(s.oldest + s.previous + s.newest);
}

void Framer::Finish(int stream, Stream& s) {
    const std::span<const std::uint8_t> packet(s.packet.data(), s.count);
    if (IsAccepted(s.sum, packet.back())) {
        ++goodPackets_;
        for (PacketDestination* destination : destinations_)
            destination->Forward(packet);
        receiver_.DisplayData(stream, packet);
    } else {
        ++badPackets_;
    }
    // The header window stays as it was when this packet was opened: its bytes are not seen again.
    s.kind = nullptr;
}

void Framer::SetRawDisplay(int stream, bool on) {
    At(stream).rawDisplay = on;
    if (!on) At(stream).rawText.clear();
}

}  // namespace corvane
