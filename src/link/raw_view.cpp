#include "link/raw_view.h"

#include <algorithm>
#include <cstdint>
#include <span>

#include "base/number_format.h"
#include "link/packet.h"

namespace corvane {
namespace {

constexpr std::size_t kBytesPerLine = 16;
constexpr std::size_t kNameColumn = 20;
constexpr std::size_t kHexColumn = 16;

std::string Hex(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (!text.empty()) text += ' ';
        text += digits[byte / 16];
        text += digits[byte % 16];
    }
    return text;
}

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

/// The kind of the packet that begins at the front of `bytes` and is there as a whole; else null.
const PacketKind* PacketAt(std::string_view bytes) {
    for (const PacketKind* kind : {&kTwoChannel, &kFiveChannel}) {
        const char header[] = {'\xFE', '\xFF', static_cast<char>(kind->thirdHeaderByte)};
        if (bytes.size() >= kind->length && bytes.starts_with(std::string_view(header, sizeof header)))
            return kind;
    }
    return nullptr;
}

void AddPacket(std::vector<std::string>& lines, std::string_view bytes, const PacketKind& kind) {
    const std::span packet(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    const RealtimePacket decoded = DecodePacket(0, packet);
    const bool accepted = IsAccepted(PacketChecksum(packet), packet.back());
    lines.push_back(std::string(kind.model) + " packet, serial text " + decoded.SerialText() +
                    (accepted ? "" : ", refused by its checksum"));
    for (std::size_t i = 0; i < kPacketFields.size(); ++i) {
        const PacketField& field = kPacketFields[i];
        if (field.fiveChannelOnly && !kind.hasAux) continue;
        lines.push_back("  " + Padded(std::string(field.name), kNameColumn) +
                        Padded(Hex(bytes.substr(field.offset, field.width)), kHexColumn) +
                        ShortestText(decoded.Value(static_cast<Field>(i))) + (field.unit.empty() ? "" : " ") +
                        std::string(field.unit));
    }
    lines.push_back("  " + Padded("checksum", kNameColumn) + Hex(bytes.substr(bytes.size() - 1)));
}

void AddHex(std::vector<std::string>& lines, std::string_view bytes) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(kBytesPerLine, bytes.size()))) {
        lines.push_back(Hex(bytes.substr(0, kBytesPerLine)));
    }
}

}  // namespace

std::vector<std::string> RawView(std::string_view bytes) {
    std::vector<std::string> lines;
    std::size_t between = 0;  // bytes in front that belong to no packet
    while (between < bytes.size()) {
        const PacketKind* kind = PacketAt(bytes.substr(between));
        if (kind == nullptr) {
            ++between;
            continue;
        }
        AddHex(lines, bytes.substr(0, between));
        AddPacket(lines, bytes.substr(between, kind->length), *kind);
        bytes.remove_prefix(between + kind->length);
        between = 0;
    }
    AddHex(lines, bytes);
    return lines;
}

}  // namespace corvane
