#include "link/raw_view.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

#include "base/number_format.h"
#include "link/packet.h"

namespace corvane {
namespace {

constexpr std::size_t kBytesPerLine = 16;
constexpr std::size_t kNameColumn = 20;
constexpr std::size_t kHexColumn = 16;

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

std::span<const std::uint8_t> Bytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The model of the packet that begins at the front of `text` and is there as a whole; else null.
const MonitorModel* PacketAt(std::string_view text) {
    const std::span<const std::uint8_t> bytes = Bytes(text);
    if (bytes.size() < kHeaderLength || !std::ranges::equal(bytes.first(kHeaderBegin.size()), kHeaderBegin))
        return nullptr;
    const MonitorModel* model = ModelOfHeader(bytes[kHeaderLength - 1]);
    return model != nullptr && bytes.size() >= model->length ? model : nullptr;
}

void AddPacket(std::vector<std::string>& lines, const RawRun& packet) {
    lines.push_back(std::string(packet.model->name) + " packet, serial text " +
                    DecodePacket(0, Bytes(packet.bytes)).SerialText() +
                    (packet.accepted ? "" : ", refused by its checksum"));
    for (const RawField& field : RawFields(packet)) {
        std::string line = "  " + Padded(std::string(field.name), kNameColumn);
        const std::string hex = HexText(packet.bytes.substr(field.offset, field.width));
        line += field.value.empty() ? hex : Padded(hex, kHexColumn) + field.value;
        lines.push_back(line);
    }
}

void AddHex(std::vector<std::string>& lines, std::string_view bytes) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(kBytesPerLine, bytes.size()))) {
        lines.push_back(HexText(bytes.substr(0, kBytesPerLine)));
    }
}

}  // namespace

std::string HexText(std::string_view bytes) {
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

std::vector<RawRun> RawRuns(std::string_view bytes) {
    std::vector<RawRun> runs;
    std::size_t between = 0;  // bytes in front that belong to no packet
    while (between < bytes.size()) {
        const MonitorModel* model = PacketAt(bytes.substr(between));
        if (model == nullptr) {
            ++between;
            continue;
        }
        if (between > 0) runs.push_back({.bytes = bytes.substr(0, between)});
        const std::string_view packet = bytes.substr(between, model->length);
        const bool accepted = IsAccepted(PacketChecksum(Bytes(packet)), Bytes(packet).back());
        runs.push_back({.bytes = packet, .model = model, .accepted = accepted});
        bytes.remove_prefix(between + model->length);
        between = 0;
    }
    if (!bytes.empty()) runs.push_back({.bytes = bytes});
    return runs;
}

std::vector<RawField> RawFields(const RawRun& packet) {
    const RealtimePacket decoded = DecodePacket(0, Bytes(packet.bytes));
    std::vector<RawField> fields;
    for (std::size_t i = 0; i < kPacketFields.size(); ++i) {
        const PacketField& field = kPacketFields[i];
        if (!packet.model->Has(static_cast<Field>(i))) continue;
        std::string value = ShortestText(decoded.Value(static_cast<Field>(i)));
        if (!field.unit.empty()) value.append(" ").append(field.unit);
        fields.push_back({field.name, field.offset, field.width, std::move(value)});
    }
    fields.push_back({.name = "checksum", .offset = packet.bytes.size() - 1, .width = 1});
    return fields;
}

std::vector<std::string> RawView(std::string_view bytes) {
    std::vector<std::string> lines;
    for (const RawRun& run : RawRuns(bytes)) {
        if (run.model != nullptr) {
            AddPacket(lines, run);
        } else {
            AddHex(lines, run.bytes);
        }
    }
    return lines;
}

}  // namespace corvane
