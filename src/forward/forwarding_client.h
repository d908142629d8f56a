// The connection that the program makes to another one, to send it the packets as they come in.
#pragma once

#include <QByteArrayView>
#include <QObject>
#include <QString>

#include "base/outcome.h"
#include "link/tcp_socket.h"

namespace corvane {

class Clock;
class ErrorLog;
class SettingsStore;
class StatusBoard;

/// Where the connection is lost it is tried again every few seconds, until the user disconnects.
class ForwardingClient : public QObject {
    Q_OBJECT

public:
    static constexpr int kRetrySeconds = 5;
    static constexpr int kMostPort = 65534;
    static constexpr int kLongestPort = 5;  ///< characters

    ForwardingClient(SettingsStore& settings, StatusBoard& board, ErrorLog& errorLog, Clock& clock);

    /// Connects where the forwarding is enabled and an address and a port were chosen.
    void StartUp();

    /// The Connect button: disconnects where connected, else checks the address and connects to it. Whether
    /// that succeeds is told by the state.
    Outcome Connect();

    /// Checks and saves the remote address as typed, four numbers and dots; it is used from the next Connect
    /// on.
    Outcome SetAddress(const QString& text);

    /// Checks and saves the remote port; it is used from the next Connect on.
    Outcome SetPort(const QString& text);

    /// Sends where the forwarding is enabled and a peer is connected.
    void Forward(QByteArrayView packet);

    [[nodiscard]] bool Enabled() const { return enabled_; }
    [[nodiscard]] SocketState State() const { return socket_.State(); }

    /// "Connect" or "Disconnect".
    [[nodiscard]] QString Caption() const;

    /// "Wait 4 Minutes to Release Port", "Reconnecting in 5 sec." and so on, or empty.
    [[nodiscard]] QString Notice() const;

private:
    void OnSettingChanged(const QString& key);
    void OnStateChanged(SocketState state);
    void OnSecond();
    Outcome Begin();
    void TryAgain();

    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    TcpSocket socket_;
    bool enabled_ = false;
    bool wanted_ = false;  ///< it is connected, or tries to be
    int countdown_ = 0;    ///< seconds to the next attempt; 0 = none is due
    QString lastFailure_;
};

}  // namespace corvane
