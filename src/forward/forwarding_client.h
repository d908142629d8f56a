// The connection that the program makes to another one, to send it the packets as they come in.
#pragma once

#include <QByteArrayView>
#include <QObject>
#include <QString>

#include "base/setting.h"
#include "forward/connection_backoff.h"
#include "forward/output.h"
#include "link/tcp_socket.h"

namespace corvane {

class Clock;
class ErrorLog;
class SettingsStore;
class StatusBoard;

Outcome CheckClientAddress(QString& text, const SettingValues& values);
Outcome CheckClientPort(QString& text, const SettingValues& values);

inline constexpr Setting kClientEnable{.key = "ClientEnable",
                                       .kind = SettingKind::Switch,
                                       .fallback = "False",
                                       .help = "Whether the client connection forwards."};
inline constexpr Setting kClientAddress{
    .key = "ClientTCPip",
    .check = CheckClientAddress,
    .effect = SettingEffect::NextConnect,
    .help = "Address that the client connects to: four numbers and dots, or IPv6."};
inline constexpr Setting kClientPort{.key = "ClientPort",
                                     .check = CheckClientPort,
                                     .effect = SettingEffect::NextConnect,
                                     .help = "Port that the client connects to, 1 to 65534."};
inline constexpr Setting kRemoteHost{.key = "RemoteHost",
                                     .by = SettingBy::Program,
                                     .help = "The address as it was last used, in three digits a field."};

/// Where the connection is lost it is tried again every few seconds, until the user disconnects.
class ForwardingClient : public QObject, public Output {
    Q_OBJECT

public:
    static constexpr int kRetrySeconds = 5;
    static constexpr int kMostPort = 65534;
    static constexpr int kLongestPort = 5;  ///< characters

    ForwardingClient(SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog, Clock& clock);

    [[nodiscard]] const OutputNames& Names() const override;
    [[nodiscard]] std::span<const Setting> Settings() const override;
    [[nodiscard]] std::span<const OutputChoice> Choices() const override;
    [[nodiscard]] std::vector<OutputAction> Actions() override;

    /// Connects where the forwarding is enabled and an address and a port were chosen.
    void StartUp() override;

    void Close() override;

    /// The Connect button: disconnects where connected, else checks the address and connects to it. Whether
    /// that succeeds is told by the state.
    Outcome Connect();

    /// Sends where the forwarding is enabled and a peer is connected.
    void Forward(QByteArrayView packet);

    [[nodiscard]] bool Enabled() const override { return enabled_; }
    [[nodiscard]] OutputState Standing() const override { return backoff_.State(); }
    [[nodiscard]] SocketState State() const { return socket_.State(); }
    [[nodiscard]] QString StateText() const override { return SocketStateText(State()); }

    /// "Connect" or "Disconnect".
    [[nodiscard]] QString Caption() const;

    /// "Wait 4 Minutes to Release Port", "Reconnecting in 5 sec." and so on, or empty.
    [[nodiscard]] QString Notice() const override;

    [[nodiscard]] OutputStatus Status() const override;

private:
    void OnSettingChanged(const QString& key);
    void OnStateChanged(SocketState state);
    Outcome Begin();
    void TryAgain();

    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    TcpSocket socket_;
    ConnectionBackoff backoff_;
    bool enabled_ = false;
    bool wanted_ = false;  ///< it is connected, or tries to be
};

}  // namespace corvane
