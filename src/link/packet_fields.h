// The realtime packet as it is on the wire: its layout as a table.
//
// A monitor sends one packet per reporting interval: three header bytes, the last of which tells the model,
// fields of the table below, and a checksum byte. A field stands in the same place in the packets of all
// models that have it. Unsigned throughout; low byte first but for the line voltage.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "base/channels.h"

namespace corvane {

/// How all packets begin. The byte behind it tells the model.
inline constexpr std::array<std::uint8_t, 2> kHeaderBegin = {0xFE, 0xFF};
inline constexpr std::size_t kHeaderLength = kHeaderBegin.size() + 1;

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

/// What a field tells of a channel.
enum class Quantity : std::uint8_t { NotOfAChannel, Energy, PolarizedEnergy, Current };

struct PacketField {
    std::string_view name;
    std::uint8_t offset;  ///< of the first byte; the header is at 0
    std::uint8_t width;   ///< bytes
    ByteOrder order;
    double countsPerUnit;
    std::string_view unit;  ///< empty where the raw count is the value
    Quantity quantity = Quantity::NotOfAChannel;
    std::size_t channel = 0;  ///< where it is a channel's: which of `kChannelTable`
};

/// In the order of `Field`. Bytes 25..28, 62 and 63 have no known meaning.
inline constexpr auto kPacketFields = std::to_array<PacketField>({
    {"line voltage", 3, 2, ByteOrder::HighFirst, 10, "V"},
    {"CH1 absolute", 5, 5, ByteOrder::LowFirst, 1, "Ws", Quantity::Energy, 0},
    {"CH2 absolute", 10, 5, ByteOrder::LowFirst, 1, "Ws", Quantity::Energy, 1},
    {"CH1 polarized", 15, 5, ByteOrder::LowFirst, 1, "Ws", Quantity::PolarizedEnergy, 0},
    {"CH2 polarized", 20, 5, ByteOrder::LowFirst, 1, "Ws", Quantity::PolarizedEnergy, 1},
    {"serial number", 29, 2, ByteOrder::LowFirst, 1, ""},
    {"flags", 31, 1, ByteOrder::LowFirst, 1, ""},
    {"unit id", 32, 1, ByteOrder::LowFirst, 1, ""},
    {"CH1 current", 33, 2, ByteOrder::LowFirst, 100, "A", Quantity::Current, 0},
    {"CH2 current", 35, 2, ByteOrder::LowFirst, 100, "A", Quantity::Current, 1},
    {"seconds counter", 37, 3, ByteOrder::LowFirst, 1, "s"},
    {"AUX1", 40, 4, ByteOrder::LowFirst, 1, "Ws", Quantity::Energy, 2},
    {"AUX2", 44, 4, ByteOrder::LowFirst, 1, "Ws", Quantity::Energy, 3},
    {"AUX3", 48, 4, ByteOrder::LowFirst, 1, "Ws", Quantity::Energy, 4},
    {"AUX4", 52, 4, ByteOrder::LowFirst, 1, "Ws", Quantity::Energy, 5},
    {"AUX5", 56, 4, ByteOrder::LowFirst, 1, "Ws", Quantity::Energy, 6},
    {"auxiliary reading", 60, 2, ByteOrder::LowFirst, 1, ""},
});

[[nodiscard]] constexpr const PacketField& Layout(Field field) {
    return kPacketFields[static_cast<std::size_t>(field)];
}

/// Whether what the table says of the channels is what `kChannelTable` says of them.
[[nodiscard]] constexpr bool AgreesWithChannels(const PacketField& field) {
    const Channel& channel = kChannelTable[field.channel];
    switch (field.quantity) {
        case Quantity::NotOfAChannel:
            return true;
        case Quantity::Energy:
            return field.width == (channel.fiveByte ? 5 : 4);
        case Quantity::PolarizedEnergy:
            return channel.polarized && field.width == (channel.fiveByte ? 5 : 4);
        case Quantity::Current:
            return channel.polarized;
    }
    return false;
}
static_assert(std::ranges::all_of(kPacketFields, AgreesWithChannels));

/// A set of fields.
class FieldSet {
public:
    constexpr FieldSet(std::initializer_list<Field> fields) {
        for (const Field field : fields)
            bits_ |= Bit(field);
    }

    /// Every field that there is.
    [[nodiscard]] static constexpr FieldSet All() {
        FieldSet all = {};
        all.bits_ = (std::uint32_t{1} << kPacketFields.size()) - 1;
        return all;
    }

    [[nodiscard]] constexpr bool Has(Field field) const { return (bits_ & Bit(field)) != 0; }
    [[nodiscard]] constexpr FieldSet operator|(FieldSet other) const {
        other.bits_ |= bits_;
        return other;
    }
    constexpr bool operator==(const FieldSet&) const = default;

private:
    [[nodiscard]] static constexpr std::uint32_t Bit(Field field) {
        return std::uint32_t{1} << static_cast<unsigned>(field);
    }

    std::uint32_t bits_ = 0;
};

}  // namespace corvane
