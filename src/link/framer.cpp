#include "link/framer.h"

namespace corvane {
namespace {

constexpr std::uint8_t kFirstHeaderByte = 0xFE;
constexpr std::uint8_t kSecondHeaderByte = 0xFF;

}  // namespace

void Framer::ProcessTurningPoint(int stream, std::uint8_t byte) {
    Stream& s = At(stream);
    if (s.rawDisplay) KeepRaw(s, byte);
    if (s.kind == nullptr) {
        Hunt(s, byte);
        return;
    }
    s.packet[s.count++] = byte;
    if (s.count == s.kind->length) Finish(stream, s);
}

void Framer::SetPlainEnd(Stream& s) {
    s.plainEnd = s.kind != nullptr && !s.rawDisplay ? static_cast<std::uint32_t>(s.kind->length - 1) : 0;
}

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
    SetPlainEnd(s);
}

void Framer::Finish(int stream, Stream& s) {
    const std::span packet(reinterpret_cast<const std::uint8_t*>(s.packet.data()), s.count);
    if (IsAccepted(PacketChecksum(packet), packet.back())) {
        ++goodPackets_;
        for (PacketDestination* destination : destinations_)
            destination->Forward(packet);
        receiver_.DisplayData(stream, packet);
    } else {
        ++badPackets_;
    }
    // The header window stays as it was when this packet was opened: its bytes are not seen again.
    s.kind = nullptr;
    SetPlainEnd(s);
}

void Framer::DropOpenPacket(int stream) {
    Stream& s = At(stream);
    s.kind = nullptr;
    SetPlainEnd(s);
}

void Framer::SetRawDisplay(int stream, bool on) {
    Stream& s = At(stream);
    s.rawDisplay = on;
    if (!on) s.rawText.clear();
    SetPlainEnd(s);
}

}  // namespace corvane
