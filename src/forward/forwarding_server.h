// A port on which another program fetches the live data: as packets, or as lines of text.
#pragma once

#include <QByteArrayView>
#include <QCoroTask>
#include <QObject>
#include <QString>

#include <cstdint>

#include "base/setting.h"
#include "forward/connection_backoff.h"
#include "forward/output.h"
#include "link/tcp_socket.h"

namespace corvane {

class Clock;
class ErrorLog;
class SettingsStore;
class StatusBoard;

enum class ForwardMode : std::uint8_t { Binary, Text };

Outcome CheckListeningPort(QString& text, const SettingValues& values);
Outcome CheckPortOfB(QString& text, const SettingValues& values);

inline constexpr Setting kListeningEnable{.key = "ServerEnable",
                                          .kind = SettingKind::Switch,
                                          .fallback = "False",
                                          .help = "Whether the listening server forwards."};
inline constexpr Setting kListeningBinary{
    .key = "BinaryData",
    .kind = SettingKind::Switch,
    .fallback = "False",
    .help = "Whether the listening server sends packets rather than text."};
// The upper limits of the two ports differ on purpose.
inline constexpr Setting kListeningPort{.key = "TcpPortHA",
                                        .kind = SettingKind::Number,
                                        .fallback = "5000",
                                        .least = 10,
                                        .most = 65000,
                                        .check = CheckListeningPort,
                                        .effect = SettingEffect::NextListen,
                                        .help = "Port of the listening server, 10 to 65000."};
inline constexpr Setting kListeningLatch{.key = "LatchDisconnectC",
                                         .kind = SettingKind::Switch,
                                         .fallback = "False",
                                         .by = SettingBy::Command,
                                         .help = "Whether it stays closed, also at the next start."};

inline constexpr Setting kServerBEnable{.key = "HAServerEnable",
                                        .kind = SettingKind::Switch,
                                        .fallback = "False",
                                        .help = "Whether TCP Server B of the forwarding forwards."};
inline constexpr Setting kServerBBinary{
    .key = "HAbinaryData",
    .kind = SettingKind::Switch,
    .fallback = "False",
    .help = "Whether TCP Server B of the forwarding sends packets rather than text."};
inline constexpr Setting kServerBPort{.key = "HAserverPort",
                                      .kind = SettingKind::Number,
                                      .fallback = "5001",
                                      .least = 10,
                                      .most = 65534,
                                      .check = CheckPortOfB,
                                      .effect = SettingEffect::NextListen,
                                      .help = "Port of TCP Server B of the forwarding, 10 to 65534."};
inline constexpr Setting kServerBLatch{.key = "LatchDisconnectD",
                                       .kind = SettingKind::Switch,
                                       .fallback = "False",
                                       .by = SettingBy::Command,
                                       .help = "Whether it stays closed, also at the next start."};

/// Serves one peer at a time, and listens for the next as soon as that one is gone. A port that cannot be
/// had is tried again every few seconds. Nothing is queued for a peer that is not there.
class ForwardingServer : public QObject, public Output {
    Q_OBJECT

public:
    static constexpr int kRetrySeconds = 5;

    struct Identity {
        OutputNames names;
        QChar letter;  ///< of its status lines
        const Setting& enable;
        const Setting& binary;
        const Setting& port;
        const Setting& latch;
        std::span<const Setting> settings;
        std::span<const OutputChoice> choices;
    };
    static const Identity kListening;  ///< "Listening Server", port 5000
    static const Identity kB;          ///< "TCP Server B" of the forwarding, port 5001

    ForwardingServer(const Identity& identity, SettingsStore& settings, StatusBoard& board,
                     ErrorLog& errorLog, Clock& clock);

    [[nodiscard]] const OutputNames& Names() const override { return identity_.names; }
    [[nodiscard]] std::span<const Setting> Settings() const override { return identity_.settings; }
    [[nodiscard]] std::span<const OutputChoice> Choices() const override { return identity_.choices; }
    [[nodiscard]] std::vector<OutputAction> Actions() override;

    /// Listens where the forwarding is enabled and the user has not stopped it.
    void StartUp() override;

    void Close() override;

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

    /// Whether data are to be forwarded, and in this mode.
    [[nodiscard]] bool Forwards(ForwardMode mode) const { return enabled_ && mode_ == mode; }

    /// Sends to the peer. False where none is connected.
    bool SendText(QByteArrayView text) { return socket_.SendText(text); }

    [[nodiscard]] bool Enabled() const override { return enabled_; }
    [[nodiscard]] OutputState Standing() const override { return backoff_.State(); }
    [[nodiscard]] SocketState State() const { return socket_.State(); }
    [[nodiscard]] QString StateText() const override { return SocketStateText(State()); }

    /// The status field: "Listening", "Connected", "Disconnected", "Reconnecting in 5 sec." and so on.
    [[nodiscard]] QString Notice() const override;

    /// What went wrong when the state is `Error`.
    [[nodiscard]] QString Problem() const override;

    [[nodiscard]] OutputStatus Status() const override;

private:
    void LoadPort();
    void LoadChoices();
    void OnSettingChanged(const QString& key);
    void OnStateChanged(SocketState state);
    void TryAgain();
    [[nodiscard]] bool IsDown() const;

    const Identity& identity_;
    SettingsStore& settings_;
    StatusBoard& board_;
    ErrorLog& errorLog_;
    Clock& clock_;
    TcpSocket socket_;
    ConnectionBackoff backoff_;
    std::uint16_t port_ = 0;  ///< of the last StartUp or Listen
    bool enabled_ = false;
    ForwardMode mode_ = ForwardMode::Text;
    bool wanted_ = false;  ///< it listens, or tries to
    bool recovering_ = false;
};

}  // namespace corvane
