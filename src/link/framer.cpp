#include "link/framer.h"

#include <numeric>
#include <utility>

namespace corvane {

void Framer::ProcessTurningPoint(int stream, std::uint8_t byte) {
    Stream& s = At(stream);
    if (held_) {
        s.kept += static_cast<char>(byte);
        return;
    }
    if (s.rawDisplay) KeepRaw(s, byte);
    if (s.model == nullptr) {
        Hunt(s, byte);
        return;
    }
    s.packet[s.count++] = byte;
    if (s.count == s.model->length) Finish(stream, s);
}

void Framer::SetPlainEnd(Stream& s) const {
    const bool plain = s.model != nullptr && !s.rawDisplay && !held_;
    s.plainEnd = plain ? static_cast<std::uint32_t>(s.model->length - 1) : 0;
}

void Framer::KeepRaw(Stream& s, std::uint8_t byte) {
    // Dropped by halves, so that a busy stream does not move the whole text at every byte.
    if (s.rawText.size() == kRawTextKept) s.rawText.erase(0, kRawTextKept / 2);
    s.rawText += static_cast<char>(byte);
}

void Framer::Hunt(Stream& s, std::uint8_t byte) const {
    if (s.packetHold) return;
    s.oldest = s.previous;
    s.previous = s.newest;
    s.newest = byte;
    if (s.oldest != kHeaderBegin[0] || s.previous != kHeaderBegin[1]) return;
    if (const MonitorModel* model = ModelOfHeader(s.newest, models_)) Open(s, *model);
}

void Framer::Open(Stream& s, const MonitorModel& model) const {
    s.model = &model;
    s.lastModel = &model;
    s.packet[0] = s.oldest;
    s.packet[1] = s.previous;
    s.packet[2] = s.newest;
    s.count = kHeaderLength;
    SetPlainEnd(s);
}

void Framer::Finish(int stream, Stream& s) {
    const std::span packet(reinterpret_cast<const std::uint8_t*>(s.packet.data()), s.count);
    if (!IsAccepted(PacketChecksum(packet), packet.back())) {
        ++s.badPackets;
        Close(s);
        return;
    }
    ++s.goodPackets;
    handOff_ = {.stream = stream, .open = true};
    HandOn();
}

std::uint32_t Framer::BadPackets() const {
    return std::accumulate(streams_.begin(), streams_.end(), std::uint32_t{0},
                           [](std::uint32_t sum, const Stream& s) { return sum + s.badPackets; });
}

std::uint64_t Framer::GoodPackets() const {
    return std::accumulate(streams_.begin(), streams_.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const Stream& s) { return sum + s.goodPackets; });
}

void Framer::Close(Stream& s) const {
    // The header window stays as it was when this packet was opened: its bytes are not seen again.
    s.model = nullptr;
    SetPlainEnd(s);
}

void Framer::DropOpenPacket(int stream) {
    if (handOff_.open && handOff_.stream == stream) return;  // it is whole, and only waits to be handed on
    Stream& s = At(stream);
    s.model = nullptr;
    SetPlainEnd(s);
}

void Framer::HandOn() {
    Stream& s = At(handOff_.stream);
    const std::span packet(reinterpret_cast<const std::uint8_t*>(s.packet.data()), s.count);
    handOff_.running = true;
    while (!held_ && handOff_.next < destinations_.size())
        destinations_[handOff_.next++]->Forward(packet);
    if (!held_) {
        receiver_.DisplayData(handOff_.stream, packet);
        handOff_.open = false;
        Close(s);
    }
    handOff_.running = false;
}

void Framer::Hold() {
    SetHeld(true);
}

void Framer::Release() {
    SetHeld(false);
    if (handOff_.running) return;  // the hold ended before it was waited for: the packet goes on by itself
    if (handOff_.open) HandOn();
    ProcessKept();
}

void Framer::SetHeld(bool held) {
    held_ = held;
    for (Stream& s : streams_)
        SetPlainEnd(s);
    for (ByteSource* source : sources_)
        source->SetReading(!held);
}

void Framer::ProcessKept() {
    for (int stream = 0; stream < kStreams; ++stream) {
        Stream& s = At(stream);
        const std::string bytes = std::exchange(s.kept, {});
        // A packet among them may hold the framer again, which then keeps the rest once more.
        for (const char c : bytes)
            ProcessByte(stream, static_cast<std::uint8_t>(c));
    }
}

void Framer::SetRawDisplay(int stream, bool on) {
    Stream& s = At(stream);
    s.rawDisplay = on;
    if (!on) s.rawText.clear();
    SetPlainEnd(s);
}

}  // namespace corvane
