// The line from a simulated monitor to the program that captures: it calls there, or waits to be called.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdint>
#include <span>

#include "base/outcome.h"

namespace corvane {

class Clock;

/// One peer at a time. What a peer sends is read and dropped: nothing here answers commands.
class Connection : public QObject {
    Q_OBJECT

public:
    static constexpr std::int64_t kRetry = 2000;            ///< ms
    static constexpr std::int64_t kMostUnsent = 256 << 10;  ///< bytes

    explicit Connection(Clock& clock);

    /// Connects, and again whenever the connection cannot be made or is lost; that is looked at every two
    /// seconds until the clock's waits are ended, which must be before this object goes.
    QCoro::Task<> KeepConnected(QString host, std::uint16_t port);

    /// Takes one peer after the other, on all addresses; port 0 lets the system choose.
    Outcome Listen(std::uint16_t port);
    [[nodiscard]] std::uint16_t ListeningPort() const { return server_.serverPort(); }

    /// Whether a peer is there that keeps up with what it is sent.
    [[nodiscard]] bool HasRoom() const { return Connected() && Unsent() <= kMostUnsent; }

    /// Bytes that the system has not taken yet; 0 without a peer.
    [[nodiscard]] std::int64_t Unsent() const { return Connected() ? peer_->bytesToWrite() : 0; }

    void Send(std::span<const std::uint8_t> bytes);

Q_SIGNALS:
    void Trouble(const QString& text);  ///< the connection cannot be made, or is lost; once until it is back

private:
    [[nodiscard]] bool Connected() const {
        return peer_ != nullptr && peer_->state() == QAbstractSocket::ConnectedState;
    }
    void Use(QTcpSocket* peer);
    void TakePeer();

    Clock& clock_;
    QTcpServer server_;
    QTcpSocket* peer_ = nullptr;  ///< a child of this object or of the server
    bool troubleTold_ = false;
};

}  // namespace corvane
