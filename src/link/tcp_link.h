// TCP Server A and B: where a monitor's Ethernet gateway connects, or B connects out to it.
#pragma once

#include <QByteArrayView>
#include <QString>

#include <array>
#include <cstdint>

#include "base/outcome.h"
#include "base/setting.h"
#include "link/monitor_link.h"
#include "link/packet_watch.h"
#include "link/tcp_socket.h"

namespace corvane {

class Clock;
class ErrorLog;
class SettingsStore;
class StatusBoard;

inline constexpr int kLeastTcpPort = 10;
inline constexpr int kMostTcpPort = 65534;

/// Takes a port of TCP Server A, B or the pages.
Outcome CheckTcpPort(QString& text, const SettingValues& values);
Outcome CheckTcpHost(QString& text, const SettingValues& values);

inline constexpr Setting kTcpPortA{.key = "TcpPortA",
                                   .kind = SettingKind::Number,
                                   .fallback = "8080",
                                   .least = kLeastTcpPort,
                                   .most = kMostTcpPort,
                                   .check = CheckTcpPort,
                                   .effect = SettingEffect::NextListen,
                                   .help = "Port of TCP Server A, 10 to 65534."};
inline constexpr Setting kTcpPortB{.key = "TcpPortB",
                                   .kind = SettingKind::Number,
                                   .fallback = "8083",
                                   .least = kLeastTcpPort,
                                   .most = kMostTcpPort,
                                   .check = CheckTcpPort,
                                   .effect = SettingEffect::NextListen,
                                   .help = "Port of TCP Server B, 10 to 65534."};
inline constexpr Setting kTcpModeB{.key = "TcpModeB",
                                   .kind = SettingKind::Choice,
                                   .fallback = "server",
                                   .choices = "server client",
                                   .effect = SettingEffect::NextListen,
                                   .help = "Whether TCP Server B listens, or connects out as a client."};
inline constexpr Setting kTcpHostB{.key = "TcpHostB",
                                   .fallback = "127.0.0.1",
                                   .check = CheckTcpHost,
                                   .effect = SettingEffect::NextListen,
                                   .help = "Where TCP Server B connects to when it is a client."};
inline constexpr Setting kTcpLatch{.key = "LatchDisconnect#",
                                   .members = "A-B",
                                   .kind = SettingKind::Switch,
                                   .fallback = "False",
                                   .by = SettingBy::Command,
                                   .help = "Whether the server stays closed, also at the next start."};
inline constexpr std::array kTcpLinkSettings = {kTcpPortA, kTcpPortB, kTcpModeB, kTcpHostB, kTcpLatch};

/// Feeds what the gateway sends to the framer, on the link's own stream. After the peer's close or an error
/// it counts down and starts again, unless the user has disconnected it (`kTcpLatch`).
class TcpLink : public MonitorLink {
    Q_OBJECT

public:
    static constexpr int kReconnectSeconds = 5;
    static constexpr std::int64_t kSilentPeer = 30'000;  ///< ms after which a new gateway takes the place

    struct Identity {
        QChar letter;
        int stream;
        const Setting& port;
        bool canConnectOut;
    };
    static const Identity kA;  ///< stream 0
    static const Identity kB;  ///< stream 2

    TcpLink(const Identity& identity, Framer& framer, SettingsStore& settings, StatusBoard& board,
            ErrorLog& errorLog, Clock& clock);

    /// Listens, or connects out, unless latched. Called once when the program starts.
    void StartUp();

    /// The Listen button: clears the latch and begins again on the configured port.
    void Listen();

    /// The Disconnect button: closes and sets the latch.
    void Disconnect();

    void SetReading(bool on) override { socket_.SetReading(on); }
    bool SendText(QByteArrayView text) override { return socket_.SendText(text); }
    [[nodiscard]] bool IsSerial() const override { return false; }
    [[nodiscard]] bool ConnectsOut() const override;

    [[nodiscard]] QChar Letter() const override { return identity_.letter; }
    [[nodiscard]] LinkStatus Status() const override;

    /// Whether it can be told to call the other end.
    [[nodiscard]] bool CanConnectOut() const { return identity_.canConnectOut; }

    [[nodiscard]] const Setting& PortSetting() const { return identity_.port; }
    [[nodiscard]] SocketState State() const { return socket_.State(); }
    [[nodiscard]] std::uint16_t LocalPort() const { return socket_.LocalPort(); }

    /// The state's text, which `WinsockStateDisplay` shows beside the link.
    [[nodiscard]] QString WinsockStateDisplay() const { return SocketStateText(socket_.State()); }

    /// What went wrong when the state is `Error`.
    [[nodiscard]] const QString& ErrorText() const { return socket_.ErrorText(); }

    /// The button's caption: "Listen", "Stop Listening" or "Connected".
    [[nodiscard]] QString Caption() const;

    /// "Disconnected", "Reconnecting in 5 sec.", "Wait 4 Minutes to Release Port", that bytes make no
    /// packets, or empty.
    [[nodiscard]] QString Notice() const;

    /// Whether data came in since this was last asked.
    [[nodiscard]] bool TakeActivity();

private:
    [[nodiscard]] SettingPlace Place() const { return {.member = identity_.letter}; }
    void LoadPort();
    void Begin();
    void OnConnected();
    void OnData(QByteArrayView data);
    void OnPeerClosed();
    void OnStateChanged(SocketState state);
    void OnSecond();

    const Identity& identity_;
    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    TcpSocket socket_;
    PacketWatch watch_;
    std::uint16_t port_ = 0;  ///< of the last StartUp or Listen
    bool latched_;
    int countdown_ = 0;  ///< seconds to the next attempt; 0 = none is due
    bool sawData_ = false;
    bool activity_ = false;
    QString lastFailure_;
};

}  // namespace corvane
