// The realtime packet: its layout as a table, and the decoded record.
//
// A monitor sends one packet per reporting interval: three header bytes that also tell the kind, the fields
// of the table below, and a checksum byte. The two-channel model's packet has the same fields up to and
// including the seconds counter. Unsigned throughout; low byte first but for the line voltage.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace corvane {

/// What tells the two models' packets apart.
struct PacketKind {
    std::string_view model;
    std::uint8_t thirdHeaderByte;  ///< the first two are 0xFE 0xFF in both
    std::size_t length;            ///< bytes, header and checksum included
    bool hasAux;
};

inline constexpr PacketKind kTwoChannel = {"VRQ-5806", 0x01, 43, false};
inline constexpr PacketKind kFiveChannel = {"VRQ-5810", 0x03, 65, true};

inline constexpr std::size_t kLongestPacket = 65;
inline constexpr std::size_t kHeaderLength = 3;
inline constexpr std::size_t kAuxChannels = 5;

enum class Field : std::uint8_t {
    Voltage,
    Ch1Absolute,
    Ch2Absolute,
    Ch1Polarized,
    Ch2Polarized,
    SerialNumber,
    Flags,
    UnitId,
    Ch1Current,
    Ch2Current,
    Seconds,
    Aux1,
    Aux2,
    Aux3,
    Aux4,
    Aux5,
    Auxiliary,
};

enum class ByteOrder : std::uint8_t { LowFirst, HighFirst };

struct PacketField {
    std::string_view name;
    std::uint8_t offset;  ///< of the first byte; the header is at 0
    std::uint8_t width;   ///< bytes
    ByteOrder order;
    double countsPerUnit;
    std::string_view unit;  ///< empty where the raw count is the value
    bool fiveChannelOnly;
};

/// In the order of `Field`. Bytes 25..28, 62 and 63 have no known meaning.
inline constexpr std::array<PacketField, 17> kPacketFields = {{
    {"line voltage", 3, 2, ByteOrder::HighFirst, 10, "V", false},
    {"CH1 absolute", 5, 5, ByteOrder::LowFirst, 1, "Ws", false},
    {"CH2 absolute", 10, 5, ByteOrder::LowFirst, 1, "Ws", false},
    {"CH1 polarized", 15, 5, ByteOrder::LowFirst, 1, "Ws", false},
    {"CH2 polarized", 20, 5, ByteOrder::LowFirst, 1, "Ws", false},
    {"serial number", 29, 2, ByteOrder::LowFirst, 1, "", false},
    {"flags", 31, 1, ByteOrder::LowFirst, 1, "", false},
    {"unit id", 32, 1, ByteOrder::LowFirst, 1, "", false},
    {"CH1 current", 33, 2, ByteOrder::LowFirst, 100, "A", false},
    {"CH2 current", 35, 2, ByteOrder::LowFirst, 100, "A", false},
    {"seconds counter", 37, 3, ByteOrder::LowFirst, 1, "s", false},
    {"AUX1", 40, 4, ByteOrder::LowFirst, 1, "Ws", true},
    {"AUX2", 44, 4, ByteOrder::LowFirst, 1, "Ws", true},
    {"AUX3", 48, 4, ByteOrder::LowFirst, 1, "Ws", true},
    {"AUX4", 52, 4, ByteOrder::LowFirst, 1, "Ws", true},
    {"AUX5", 56, 4, ByteOrder::LowFirst, 1, "Ws", true},
    {"auxiliary reading", 60, 2, ByteOrder::LowFirst, 1, "", true},
}};

[[nodiscard]] constexpr const PacketField& Layout(Field field) {
    return kPacketFields[static_cast<std::size_t>(field)];
}

/// The field of AUX1..AUX5 by index 0..4.
[[nodiscard]] constexpr Field AuxField(std::size_t index) {
    return static_cast<Field>(static_cast<std::size_t>(Field::Aux1) + index);
}

/// One decoded packet. `bytes` is valid only while the packet is being handed on.
struct RealtimePacket {
    int source = 0;  ///< receive stream 0..4
    const PacketKind* kind = &kFiveChannel;
    std::span<const std::uint8_t> bytes;
    std::array<std::uint64_t, kPacketFields.size()> raw{};  ///< 0 for a field that the kind does not have

    /// The field's count as sent. Exact: the widest counter has 40 bits.
    [[nodiscard]] std::uint64_t Raw(Field field) const { return raw[static_cast<std::size_t>(field)]; }

    /// The field in the unit of the table.
    [[nodiscard]] double Value(Field field) const {
        return static_cast<double>(Raw(field)) / Layout(field).countsPerUnit;
    }

    /// What selects the device slot: the unit id in decimal, then the serial number as five digits; unit id 3
    /// and serial number 1234 give "301234".
    [[nodiscard]] std::string SerialText() const;
};

/// Takes the fields of `bytes` apart, a whole packet from its header on. No field is checked.
[[nodiscard]] RealtimePacket DecodePacket(int source, std::span<const std::uint8_t> bytes);

/// Writes a field into a packet; higher bits than it has room for are cut off.
void EncodeField(std::span<std::uint8_t> bytes, Field field, std::uint64_t raw);

/// The sum of all bytes but the last, modulo 256: what a monitor sends as the last byte.
[[nodiscard]] std::uint8_t PacketChecksum(std::span<const std::uint8_t> bytes);

/// Whether a packet with the byte sum `sum` and the checksum byte `checksum` is taken. Lenient on purpose:
/// only a zero checksum byte can be refused, and also that only for a sum of 1..253.
[[nodiscard]] constexpr bool IsAccepted(int sum, int checksum) {
    return !(checksum != sum && checksum - 2 != sum && sum < 254 && checksum < 1);
}

}  // namespace corvane
