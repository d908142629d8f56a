// The realtime packet: decoded, encoded, and judged by its checksum.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "link/monitor_models.h"

namespace corvane {

/// One decoded packet. `bytes` is valid only while the packet is being handed on.
struct RealtimePacket {
    int source = 0;  ///< receive stream 0..4
    const MonitorModel* model = &kFiveChannel;
    std::span<const std::uint8_t> bytes;
    std::array<std::uint64_t, kPacketFields.size()> raw{};  ///< 0 for a field that the model does not have

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

/// Takes the fields of `bytes` apart, a whole packet of one of `models` from its header on. No field is
/// checked.
[[nodiscard]] RealtimePacket DecodePacket(int source, std::span<const std::uint8_t> bytes,
                                          std::span<const MonitorModel> models = kModels);

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
