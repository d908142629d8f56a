// A port on which another program fetches the live data: as packets, or as lines of text.
#pragma once

#include <QByteArrayView>
#include <QCoroTask>
#include <QObject>
#include <QString>

#include <cstdint>

#include "base/outcome.h"
#include "link/tcp_socket.h"

namespace corvane {

class Clock;
class ErrorLog;
class SettingsStore;
class StatusBoard;

enum class ForwardMode : std::uint8_t { Binary, Text };

/// Serves one peer at a time, and listens for the next as soon as that one is gone. A port that cannot be
/// had is tried again every few seconds. Nothing is queued for a peer that is not there.
class ForwardingServer : public QObject {
    Q_OBJECT

public:
    static constexpr int kRetrySeconds = 5;
    static constexpr int kLeastPort = 10;

    struct Identity {
        const char* name;
        QChar letter;  ///< of its status lines
        QLatin1StringView enableKey;
        QLatin1StringView binaryKey;
        QLatin1StringView portKey;
        QLatin1StringView latchKey;
        int defaultPort;
        int mostPort;
        const char* notNumeric;
        const char* outOfRange;
    };
    static const Identity kListening;  ///< "Listening Server", port 5000
    static const Identity kB;          ///< "TCP Server B" of the forwarding, port 5001

    ForwardingServer(const Identity& identity, SettingsStore& settings, StatusBoard& board,
                     ErrorLog& errorLog, Clock& clock);

    /// Listens where the forwarding is enabled and the user has not stopped it.
    void StartUp();

    /// The Listen button: clears the latch and listens on the configured port.
    void Listen();

    /// The Stop Listening button: closes and sets the latch.
    void Stop();

    /// How an attempt to bring back a socket in the error state ended.
    struct Recovery {
        bool byState;       ///< the awaited state came, or else the time was over
        SocketState state;  ///< at that moment
    };

    /// Puts the socket back to listening and waits until `ended` is true of its state, or the clock's second
    /// of the minute is `targetSecond`. Where neither comes within the 20 s that every attempt has, the
    /// socket is closed unless a peer is connected, which ends the wait by its state.
    QCoro::Task<Recovery> Recover(int targetSecond, bool (*ended)(SocketState));

    /// Checks and saves the text of the port entry; it is used from the next Listen on.
    Outcome SetPort(const QString& text);

    /// Whether data are to be forwarded, and in this mode.
    [[nodiscard]] bool Forwards(ForwardMode mode) const { return enabled_ && mode_ == mode; }

    /// Sends to the peer. False where none is connected.
    bool SendText(QByteArrayView text) { return socket_.SendText(text); }

    [[nodiscard]] QString Name() const { return QString::fromLatin1(identity_.name); }
    [[nodiscard]] bool Enabled() const { return enabled_; }
    [[nodiscard]] ForwardMode Mode() const { return mode_; }
    [[nodiscard]] SocketState State() const { return socket_.State(); }
    [[nodiscard]] std::uint16_t LocalPort() const { return socket_.LocalPort(); }

    /// What went wrong when the state is `Error`.
    [[nodiscard]] const QString& ErrorText() const { return socket_.ErrorText(); }

    /// The button's caption: "Listen" or "Stop Listening".
    [[nodiscard]] QString Caption() const;

    /// The status field: "Listening", "Connected", "Disconnected", "Reconnecting in 5 sec." and so on.
    [[nodiscard]] QString Notice() const;

private:
    void LoadPort();
    void LoadChoices();
    void OnSettingChanged(const QString& key);
    void OnStateChanged(SocketState state);
    void OnSecond();

    const Identity& identity_;
    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    Clock& clock_;
    TcpSocket socket_;
    std::uint16_t port_ = 0;  ///< of the last StartUp or Listen
    bool enabled_ = false;
    ForwardMode mode_ = ForwardMode::Text;
    bool wanted_ = false;  ///< it listens, or tries to
    bool recovering_ = false;
    int countdown_ = 0;  ///< seconds to the next attempt; 0 = none is due
    QString lastFailure_;
};

}  // namespace corvane
