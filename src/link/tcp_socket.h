// One TCP endpoint, server or client, as a component with ten numbered states. All TCP users go through it.
#pragma once

#include <QByteArrayView>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdint>
#include <memory>
#include <optional>

namespace corvane {

class Clock;

/// The numbers are what users and logs see.
enum class SocketState {
    Closed = 0,
    Open = 1,
    Listening = 2,
    ConnectionPending = 3,
    ResolvingHost = 4,
    HostResolved = 5,
    Connecting = 6,
    Connected = 7,
    PeerClosing = 8,
    Error = 9,
};

/// "Socket Closed", "Socket Open", "Listening" and so on.
[[nodiscard]] QString SocketStateText(SocketState state);

/// A server takes one peer at a time: it goes on listening while connected only to turn others away. Data are
/// handed over as they arrive and are never kept here; what is not read stays with the operating system.
class TcpSocket : public QObject {
    Q_OBJECT

public:
    static constexpr std::int64_t kMostUnsent = 1 << 20;  ///< bytes; a peer that lets more pile up is closed
    static constexpr std::int64_t kConnectTimeout = 20'000;  ///< ms
    static constexpr qint64 kReadBuffer = 65'536;            ///< bytes

    explicit TcpSocket(Clock& clock);
    ~TcpSocket() override;

    /// A peer that has sent nothing for this many milliseconds gives way to a new one: a gateway that lost
    /// its power never said goodbye. Without it the first peer stays.
    void ReplaceSilentPeerAfter(std::int64_t milliseconds) { replaceAfter_ = milliseconds; }

    /// A server whose peer went listens on for the next one, instead of closing.
    void KeepListening() { keepsListening_ = true; }

    /// For peers that nobody listens to: what they send is dropped, and at most 64 KiB of it is read in a
    /// second. The rest is the peer's to keep.
    void DropInput() { dropsInput_ = true; }

    /// Off: what the peer sends stays with the operating system until this is on again. Only what is left of
    /// a peer that went is handed over all the same, for it would be lost.
    void SetReading(bool on);

    /// Closes what was open and listens on all addresses; port 0 lets the system choose. On failure the state
    /// is `Error`, `AddressInUse` tells whether the port is held by others, and `ErrorText` says what
    /// happened.
    bool Listen(std::uint16_t port);

    /// Closes what was open and connects; the outcome is told by `StateChanged`. An attempt that has not
    /// succeeded after 20 s is closed.
    void Connect(const QString& host, std::uint16_t port);

    /// Sends to the connected peer. False where there is none, or where it read so slowly that it was closed.
    bool SendText(QByteArrayView text);

    /// Closes the connection and stops listening, without a signal to the owner but `StateChanged`.
    void Close();

    [[nodiscard]] SocketState State() const { return state_; }
    [[nodiscard]] std::uint16_t LocalPort() const;
    [[nodiscard]] bool AddressInUse() const { return addressInUse_; }
    [[nodiscard]] const QString& ErrorText() const { return errorText_; }

Q_SIGNALS:
    void StateChanged(corvane::SocketState state);
    void Connected();                       ///< a peer was accepted, or the own connect succeeded
    void DataArrival(QByteArrayView data);  ///< valid during the call only
    void PeerClosed();                      ///< the peer went, or gave way to a new one
    void PeerTooSlow(const QString& peer);  ///< closed for leaving too much unread

private:
    void SetState(SocketState state);
    void TakeIncoming();
    void Use(std::unique_ptr<QTcpSocket> socket);
    void ReadWhileOn();
    bool ReadSome(qint64 most);  ///< false where there was nothing
    void OnDisconnected();
    void EndPeer();
    void OnError(QAbstractSocket::SocketError error);
    void Drop();
    void OnSecond();

    Clock& clock_;
    QTcpServer server_;
    std::unique_ptr<QTcpSocket> peer_;
    SocketState state_ = SocketState::Closed;
    bool addressInUse_ = false;
    bool keepsListening_ = false;
    bool dropsInput_ = false;
    bool reading_ = true;
    qint64 droppable_ = kReadBuffer;  ///< bytes that may still be dropped within this second
    QString errorText_;
    std::optional<std::int64_t> replaceAfter_;
    std::int64_t lastArrival_ = 0;  ///< monotonic ms
    std::int64_t connectStarted_ = 0;
};

}  // namespace corvane
