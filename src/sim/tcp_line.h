// A line over TCP: the monitor calls the program that captures, or waits to be called.
#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdint>
#include <optional>
#include <span>

#include "base/outcome.h"
#include "sim/line.h"

namespace corvane {

class Clock;

/// One peer at a time.
class TcpLine : public QObject, public Line {
    Q_OBJECT

public:
    static constexpr std::int64_t kRetry = 2000;            ///< ms
    static constexpr std::int64_t kTakenAfter = 1000;       ///< ms: one closed sooner was turned away
    static constexpr std::int64_t kBetweenTold = 60'000;    ///< ms
    static constexpr std::int64_t kMostUnsent = 256 << 10;  ///< bytes

    explicit TcpLine(Clock& clock);

    /// Connects, and again whenever the connection cannot be made or is lost; that is looked at every two
    /// seconds until the clock's waits are ended, which must be before this object goes.
    QCoro::Task<> KeepConnected(QString host, std::uint16_t port);

    /// Takes one peer after the other, on all addresses; port 0 lets the system choose.
    Outcome Listen(std::uint16_t port);
    [[nodiscard]] std::uint16_t ListeningPort() const { return server_.serverPort(); }

    /// Never Unheard: without a peer the line is Blocked.
    [[nodiscard]] LineState State() override {
        return Connected() && Unsent() <= kMostUnsent ? LineState::Ready : LineState::Blocked;
    }

    void Send(std::span<const std::uint8_t> bytes) override;

    /// Bytes that the system has not taken yet.
    [[nodiscard]] std::int64_t Unsent() override { return Connected() ? peer_->bytesToWrite() : 0; }

Q_SIGNALS:
    /// The connection cannot be made, is lost, or is closed as soon as it is made; once a minute while that
    /// goes on.
    void Trouble(const QString& text);

private:
    [[nodiscard]] bool Connected() const {
        return peer_ != nullptr && peer_->state() == QAbstractSocket::ConnectedState;
    }
    void TellTrouble(const QString& host, std::uint16_t port);
    void Use(QTcpSocket* peer);
    void TakePeer();

    Clock& clock_;
    QTcpServer server_;
    QTcpSocket* peer_ = nullptr;               ///< a child of this object or of the server
    std::optional<std::int64_t> connectedAt_;  ///< monotonic ms
    QString lastTold_;                         ///< why there was no connection
    std::int64_t lastToldAt_ = 0;
};

}  // namespace corvane
