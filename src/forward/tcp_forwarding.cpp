#include "forward/tcp_forwarding.h"

#include <algorithm>

#include "base/clock.h"
#include "forward/value_fields.h"
#include "measure/readings.h"
#include "measure/virtual_device.h"
#include "store/error_log.h"
#include "store/settings_store.h"

namespace corvane {

using namespace Qt::StringLiterals;

/// What differs between forwarding packets and forwarding text.
struct TcpForwarding::Path {
    ForwardMode mode;
    int (*targetSecond)(int now);          ///< of the minute, at which a socket that is not back is given up
    bool (*recovered)(SocketState state);  ///< whether the wait for it is over
    const char* lost;                      ///< what is logged then

    static const Path kPackets;
    static const Path kText;
};

constexpr TcpForwarding::Path TcpForwarding::Path::kPackets = {
    .mode = ForwardMode::Binary,
    // 60 is added, not subtracted, on purpose: a wait that starts in the last eight seconds of a minute ends
    // through the state only.
    .targetSecond = [](int now) { return now + 8 > 59 ? now + 8 + 60 : now + 8; },
    .recovered = [](SocketState state) { return state == SocketState::Closed; },
    .lost = "HAWinsock3 could not reconnect after 8 seconds .... \"ForwardData\" not sent. TCP state = ",
};
constexpr TcpForwarding::Path TcpForwarding::Path::kText = {
    .mode = ForwardMode::Text,
    .targetSecond = [](int now) { return (now + 4) % 60; },
    .recovered =
        [](SocketState state) { return state != SocketState::Closed && state != SocketState::Error; },
    .lost = "TCPserver(2) could not reconnect after 4 seconds .... \"ForwardStr\" not sent. TCP state = ",
};

TcpForwarding::TcpForwarding(Framer& framer, SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog,
                             Clock& clock)
    : serverB(ForwardingServer::kB, settings, board, errorLog, clock),
      listeningServer(ForwardingServer::kListening, settings, board, errorLog, clock),
      client(settings, board, errorLog, clock),
      framer_(framer),
      settings_(settings),
      errorLog_(errorLog),
      clock_(clock),
      netMetering_(settings.IsOn(kNetMetering)) {
    connect(&settings, &SettingsStore::Changed, this, [this](const QString&, const QString& key) {
        if (IsKeyOf(kNetMetering, key)) {
            netMetering_ = settings_.IsOn(kNetMetering);
        }
    });
}

void TcpForwarding::Forward(std::span<const std::uint8_t> packet) {
    Send(Path::kPackets, {reinterpret_cast<const char*>(packet.data()), qsizetype(packet.size())});
}

void TcpForwarding::OnReadings(const DeviceReadings& readings) {
    const bool wanted = std::ranges::any_of(
        Servers(), [](const ForwardingServer* server) { return server->Forwards(ForwardMode::Text); });
    if (!wanted) return;
    const std::string line =
        FieldsText(netMetering_ ? kNetMeteringTextLine : kTextLine, readings, clock_.Now()) + "\r\n";
    Send(Path::kText, QByteArray::fromStdString(line));
}

QCoro::Task<> TcpForwarding::Send(const Path& path, QByteArray data) {
    bool holding = false;
    for (ForwardingServer* server : Servers()) {
        if (!server->Forwards(path.mode)) continue;
        if (server->State() == SocketState::Error) {
            holding = true;
            framer_.Hold();
            const bool back = co_await BringBack(path, *server);
            if (!back) continue;
        }
        server->SendText(data);
    }
    if (path.mode == ForwardMode::Binary) client.Forward(data);
    if (holding) framer_.Release();
}

QCoro::Task<bool> TcpForwarding::BringBack(const Path& path, ForwardingServer& server) {
    const int targetSecond = path.targetSecond(clock_.Now().second);
    const auto end = co_await server.Recover(targetSecond, path.recovered);
    if (end.byState) co_return true;
    errorLog_.LogError(0, QString::fromLatin1(path.lost) + QString::number(static_cast<int>(end.state)),
                       server.Name());
    co_return false;
}

}  // namespace corvane
