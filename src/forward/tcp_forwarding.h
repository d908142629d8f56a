// Forwarding over TCP: every packet, or a line of text about it, to whoever is connected.
#pragma once

#include <QByteArray>
#include <QCoroTask>
#include <QObject>

#include <array>
#include <cstdint>
#include <span>

#include "forward/forwarding_client.h"
#include "forward/forwarding_server.h"
#include "link/framer.h"
#include "measure/readings_sink.h"

namespace corvane {

/// The road that packets and lines take to the three outputs, which are switched on each by itself. Before it
/// sends on a server whose socket is in the error state it brings that back, and waits. Meanwhile
/// it holds the framer: the packet goes on, and the next one is framed, when the wait has ended.
class TcpForwarding : public QObject, public PacketDestination, public ReadingsSink {
    Q_OBJECT

public:
    TcpForwarding(Framer& framer, SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog,
                  Clock& clock);

    /// The packet as it came: to TCP Server B, then to the listening server, then to the client connection.
    void Forward(std::span<const std::uint8_t> packet) override;

    /// The line of text: to the servers in text mode.
    void OnReadings(const DeviceReadings& readings) override;

    ForwardingServer serverB;
    ForwardingServer listeningServer;
    ForwardingClient client;

private:
    struct Path;

    [[nodiscard]] std::array<ForwardingServer*, 2> Servers() { return {&serverB, &listeningServer}; }
    QCoro::Task<> Send(const Path& path, QByteArray data);
    QCoro::Task<bool> BringBack(const Path& path, ForwardingServer& server);

    Framer& framer_;
    SettingsStore& settings_;
    ErrorLog& errorLog_;
    Clock& clock_;
    bool netMetering_ = false;
};

}  // namespace corvane
