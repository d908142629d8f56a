// One TCP endpoint, server or client, as a component with ten numbered states. All TCP users go through it.
#pragma once

#include <QByteArrayView>
#include <QObject>
#include <QString>
#include <QTcpSocket>

#include <cstdint>
#include <memory>
#include <optional>

#include "link/acceptor.h"

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
    static constexpr qint64 kMostOfAnswer = 65'536;          ///< bytes

    explicit TcpSocket(Clock& clock);
    ~TcpSocket() override;

    /// A peer that has sent nothing for this many milliseconds gives way to a new one: a gateway that lost
    /// its power never said goodbye. Without it the first peer stays.
    void ReplaceSilentPeerAfter(std::int64_t milliseconds) { replaceAfter_ = milliseconds; }

    /// A server whose peer went listens on for the next one, instead of closing.
    void KeepListening() { keepsListening_ = true; }

    /// For peers that nobody listens to: what they send is dropped, and at most 64 KiB of it is read in a
    /// second. The rest is the peer's to keep. One that has ended what it sends may still read: it stays, but
    /// gives way to a new one, for who has closed looks just the same until something is sent to it.
    void DropInput() { input_ = Input::Drop; }

    /// For servers whose answers nobody reads: they are dropped as they come, and a server that has ended
    /// what it sends has closed. One that sends more than 64 KiB after what was last sent to it is closed.
    void DropAnswers() { input_ = Input::DropAnswers; }

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
    [[nodiscard]] std::uint16_t LocalPort() const { return acceptor_.Port(); }
    [[nodiscard]] bool AddressInUse() const { return addressInUse_; }
    [[nodiscard]] const QString& ErrorText() const { return errorText_; }

Q_SIGNALS:
    void StateChanged(corvane::SocketState state);
    void Connected();                        ///< a peer was accepted, or the own connect succeeded
    void DataArrival(QByteArrayView data);   ///< valid during the call only
    void PeerClosed();                       ///< the peer went, or gave way to a new one
    void PeerTooSlow(const QString& peer);   ///< closed for leaving too much unread
    void AnswerTooLong();                    ///< closed for that
    void AcceptorTold(const QString& text);  ///< of a server: "takes no connections: ..." and so on

private:
    enum class Input : std::uint8_t { HandOver, Drop, DropAnswers };

    void SetState(SocketState state);
    void TakeIncoming(int descriptor);
    void Use(std::unique_ptr<QTcpSocket> socket);
    void NoteConnected();
    [[nodiscard]] bool GivesWay() const;
    void WatchInput();
    void ReadWhileOn();
    void DropSome();
    bool ReadSome(qint64 most);  ///< false where there was nothing
    void OnDisconnected();
    void EndPeer();
    void OnError(QAbstractSocket::SocketError error);
    void LetGo();
    void OnSecond();

    Clock& clock_;
    Acceptor acceptor_;
    std::unique_ptr<QTcpSocket> peer_;
    QSocketNotifier* dropped_ = nullptr;  ///< the peer's, where what it sends is dropped
    SocketState state_ = SocketState::Closed;
    bool addressInUse_ = false;
    bool keepsListening_ = false;
    Input input_ = Input::HandOver;
    bool inputEnded_ = false;  ///< the peer sends no more, and may still read
    bool reading_ = true;
    qint64 droppable_ = kReadBuffer;  ///< bytes that may still be dropped within this second
    qint64 answered_ = 0;             ///< bytes of the answer to what was last sent
    QString errorText_;
    std::optional<std::int64_t> replaceAfter_;
    std::int64_t lastArrival_ = 0;  ///< monotonic ms
    std::int64_t connectStarted_ = 0;
};

}  // namespace corvane
