// Packets as bytes to send, and noted down as they come out of the framer.
#pragma once

#include <QByteArray>

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "link/framer.h"
#include "support/packets.h"

namespace corvane {

using Packets = std::vector<std::pair<int, int>>;  ///< stream and serial number

class NotedPackets final : public PacketReceiver {
public:
    explicit NotedPackets(std::span<const MonitorModel> models = kModels) : models_(models) {}

    void DisplayData(int stream, std::span<const std::uint8_t> packet) override {
        packets.emplace_back(
            stream, static_cast<int>(DecodePacket(stream, packet, models_).Raw(Field::SerialNumber)));
        framed.emplace_back(stream, Bytes(packet.begin(), packet.end()));
    }
    Packets packets;
    std::vector<std::pair<int, Bytes>> framed;  ///< the same, byte for byte

private:
    std::span<const MonitorModel> models_;
};

inline QByteArray PacketBytes(std::uint16_t serialNumber) {
    const Bytes packet = PacketOf({.serialNumber = serialNumber});
    return {reinterpret_cast<const char*>(packet.data()), static_cast<qsizetype>(packet.size())};
}

}  // namespace corvane
