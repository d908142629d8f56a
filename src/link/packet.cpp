#include "link/packet.h"

#include <charconv>
#include <utility>

namespace corvane {
namespace {

// The table is walked at compile time: each field becomes a few loads with fixed offsets.
template <bool kHasAll, std::size_t Index>
void DecodeField(RealtimePacket& packet) {
    constexpr PacketField field = kPacketFields[Index];
    if constexpr (!kHasAll) {
        if (!packet.model->Has(static_cast<Field>(Index))) return;
    }
    const std::uint8_t* bytes = packet.bytes.data() + field.offset;
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < field.width; ++i) {
        const std::size_t place = field.order == ByteOrder::LowFirst ? i : field.width - 1 - i;
        value |= std::uint64_t{bytes[i]} << (8 * place);
    }
    packet.raw[Index] = value;
}

template <bool kHasAll, std::size_t... Indexes>
void DecodeFields(RealtimePacket& packet, std::index_sequence<Indexes...>) {
    (DecodeField<kHasAll, Indexes>(packet), ...);
}

}  // namespace

RealtimePacket DecodePacket(int source, std::span<const std::uint8_t> bytes,
                            std::span<const MonitorModel> models) {
    constexpr auto kIndexes = std::make_index_sequence<kPacketFields.size()>();
    RealtimePacket packet;
    packet.source = source;
    packet.model = ModelOfHeader(bytes[kHeaderLength - 1], models);
    packet.bytes = bytes;
    if (packet.model->fields == FieldSet::All()) {
        DecodeFields<true>(packet, kIndexes);
    } else {
        DecodeFields<false>(packet, kIndexes);
    }
    return packet;
}

std::string RealtimePacket::SerialText() const {
    constexpr std::size_t kDigits = 5;
    std::array<char, 8> text{};  // at most "25565535"
    char* number = std::to_chars(text.data(), text.data() + 3, Raw(Field::UnitId)).ptr;
    auto rest = Raw(Field::SerialNumber);
    for (std::size_t i = kDigits; i-- > 0; rest /= 10)
        number[i] = static_cast<char>('0' + rest % 10);
    return {text.data(), number + kDigits};
}

void EncodeField(std::span<std::uint8_t> bytes, Field field, std::uint64_t raw) {
    const PacketField& layout = Layout(field);
    for (std::size_t i = 0; i < layout.width; ++i) {
        const std::size_t place = layout.order == ByteOrder::LowFirst ? i : layout.width - 1U - i;
        bytes[layout.offset + i] = static_cast<std::uint8_t>(raw >> (8 * place));
    }
}

std::uint8_t PacketChecksum(std::span<const std::uint8_t> bytes) {
    std::uint8_t sum = 0;
    for (const std::uint8_t byte : bytes.first(bytes.size() - 1))
        sum = static_cast<std::uint8_t>(sum + byte);
    return sum;
}

}  // namespace corvane
