// The framer: bytes of five receive streams become whole, checked packets.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "link/packet.h"

namespace corvane {

/// Receive streams. Each is framed on its own, whatever the others do.
inline constexpr int kStreams = 5;
inline constexpr int kStreamTcpA = 0;
inline constexpr int kStreamSerialA = 1;
inline constexpr int kStreamTcpB = 2;
inline constexpr int kStreamSerialB = 3;
inline constexpr int kStreamSerialC = 4;

/// A place that accepted packets are forwarded to, byte for byte as they came. One that has to wait for its
/// reader holds the framer for as long.
class PacketDestination {
public:
    virtual ~PacketDestination() = default;

    /// `packet` is valid until this returns, or until the hold that this began is released.
    virtual void Forward(std::span<const std::uint8_t> packet) = 0;
};

/// Where bytes come from.
class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// Off: what comes stays unread until this is on again. It may be switched off from within the source's
    /// own `ProcessByte`.
    virtual void SetReading(bool on) = 0;
};

/// Where accepted packets end: the measurement. `packet` is valid during the call only, in which no further
/// byte of the stream may be processed.
class PacketReceiver {
public:
    virtual ~PacketReceiver() = default;
    virtual void DisplayData(int stream, std::span<const std::uint8_t> packet) = 0;
};

class Framer {
public:
    static constexpr std::size_t kRawTextKept = std::size_t{64} * 1024;  ///< bytes; older ones are dropped

    /// Frames the packets of `models`, none longer than `kLongestPacket`. Neither is owned.
    explicit Framer(PacketReceiver& receiver, std::span<const MonitorModel> models = kModels)
        : receiver_(receiver), models_(models) {}

    /// Takes the next byte of stream 0..4. There is no time-out: a packet cut short takes in what follows
    /// until it is long enough, and is then judged by its checksum.
    void ProcessByte(int stream, std::uint8_t byte) {
        Stream& s = streams_[static_cast<std::size_t>(stream)];
        if (s.count < s.plainEnd) [[likely]] {
            s.packet[s.count++] = byte;
        } else {
            ProcessTurningPoint(stream, byte);
        }
    }

    /// Kept for callers of old; nothing here calls it: the length follows from the packet's header.
    void SetPacketLength() {}

    /// Adds a destination; they are served in the order of their adding, before the receiver. Not owned.
    void AddDestination(PacketDestination& destination) { destinations_.push_back(&destination); }

    /// Adds a link that is not read from while the framer is held. Not owned.
    void AddSource(ByteSource& source) { sources_.push_back(&source); }

    /// Stops all streams: to be called by a destination, or by whoever the receiver hands the packet on to,
    /// that has to wait before the packet may go on. What a source had read already is kept, up to a read
    /// buffer each, and framed when the hold ends.
    void Hold();

    /// Ends the hold: the packet goes on to the destinations behind and the receiver, then the bytes kept are
    /// framed, then the sources read on.
    void Release();

    /// While set, no packet is opened on the stream, because its monitor is answering a command. A packet
    /// that is open already goes on being collected.
    void SetPacketHold(int stream, bool hold) { At(stream).packetHold = hold; }
    [[nodiscard]] bool PacketHold(int stream) const { return At(stream).packetHold; }

    /// Forgets the packet that is open on the stream, if one is: its rest will not come this way.
    void DropOpenPacket(int stream);

    /// Whether the stream's bytes are kept for being looked at, as they come in and before framing.
    void SetRawDisplay(int stream, bool on);
    [[nodiscard]] bool RawDisplay(int stream) const { return At(stream).rawDisplay; }
    [[nodiscard]] const std::string& RawText(int stream) const { return At(stream).rawText; }

    /// The model of the stream's last header; null before the first one.
    [[nodiscard]] const MonitorModel* LastModel(int stream) const { return At(stream).lastModel; }

    [[nodiscard]] std::uint32_t BadPackets() const;
    [[nodiscard]] std::uint64_t GoodPackets() const;

    /// Those of one stream.
    [[nodiscard]] std::uint32_t BadPackets(int stream) const { return At(stream).badPackets; }
    [[nodiscard]] std::uint64_t GoodPackets(int stream) const { return At(stream).goodPackets; }

private:
    struct Stream {
        const MonitorModel* model = nullptr;  ///< of the packet that is open; null while hunting for a header
        const MonitorModel* lastModel = nullptr;
        std::uint32_t count = 0;  ///< bytes held, header included

        /// Up to here a byte is only to be kept: it opens and ends no packet, and nobody looks at it.
        std::uint32_t plainEnd = 0;

        std::uint8_t oldest = 0;  ///< the header window: the last bytes seen while hunting
        std::uint8_t previous = 0;
        std::uint8_t newest = 0;
        std::uint64_t goodPackets = 0;
        std::uint32_t badPackets = 0;
        bool packetHold = false;
        bool rawDisplay = false;
        /// Not of std::uint8_t, which may stand for any object: the counts need not be read again after a
        /// store.
        std::array<char8_t, kLongestPacket> packet{};
        std::string rawText;
        std::string kept;  ///< bytes that came while the framer was held
    };

    /// The packet that is being handed on.
    struct HandOff {
        int stream = 0;
        std::size_t next = 0;  ///< index of the destination that is to be served next
        bool open = false;     ///< not yet with the receiver
        bool running = false;  ///< a destination or the receiver has it right now
    };

    [[nodiscard]] Stream& At(int stream) { return streams_[static_cast<std::size_t>(stream)]; }
    [[nodiscard]] const Stream& At(int stream) const { return streams_[static_cast<std::size_t>(stream)]; }

    void ProcessTurningPoint(int stream, std::uint8_t byte);
    static void KeepRaw(Stream& s, std::uint8_t byte);
    void SetPlainEnd(Stream& s) const;
    void Hunt(Stream& s, std::uint8_t byte) const;
    void Open(Stream& s, const MonitorModel& model) const;
    void Finish(int stream, Stream& s);
    void Close(Stream& s) const;
    void HandOn();
    void SetHeld(bool held);
    void ProcessKept();

    PacketReceiver& receiver_;
    std::span<const MonitorModel> models_;
    std::vector<PacketDestination*> destinations_;
    std::vector<ByteSource*> sources_;
    HandOff handOff_;
    bool held_ = false;
    std::array<Stream, kStreams> streams_;
};

}  // namespace corvane
