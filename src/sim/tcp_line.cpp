#include "sim/tcp_line.h"

#include <QHostAddress>

#include <utility>

#include "base/clock.h"

namespace corvane {

using namespace Qt::StringLiterals;

TcpLine::TcpLine(Clock& clock) : clock_(clock) {
    connect(&server_, &QTcpServer::newConnection, this, &TcpLine::TakePeer);
}

QCoro::Task<> TcpLine::KeepConnected(QString host, std::uint16_t port) {
    Use(new QTcpSocket(this));
    connect(peer_, &QTcpSocket::connected, this, [this] { connectedAt_ = clock_.Monotonic(); });
    connect(peer_, &QTcpSocket::errorOccurred, this, [this, host, port] { TellTrouble(host, port); });
    do {
        if (peer_->state() == QAbstractSocket::UnconnectedState) peer_->connectToHost(host, port);
    } while (co_await clock_.DLY(kRetry));
}

void TcpLine::TellTrouble(const QString& host, std::uint16_t port) {
    const std::int64_t now = clock_.Monotonic();
    const auto connectedAt = std::exchange(connectedAt_, std::nullopt);
    const bool wasTaken = connectedAt.has_value() && now - *connectedAt >= kTakenAfter;
    const QString why = connectedAt.has_value() && !wasTaken
                            ? u"turned away, as when another gateway has the place"_s
                            : peer_->errorString();
    if (!wasTaken && why == lastTold_ && now - lastToldAt_ < kBetweenTold) return;
    lastTold_ = why;
    lastToldAt_ = now;
    Q_EMIT Trouble(u"No connection to %1 port %2: %3. Trying again every %4 s."_s.arg(
        host, QString::number(port), why, QString::number(kRetry / 1000)));
}

Outcome TcpLine::Listen(std::uint16_t port) {
    if (server_.listen(QHostAddress::Any, port)) return Outcome::Success();
    return Outcome::Failure(u"Cannot listen on port %1: %2"_s.arg(port).arg(server_.errorString()));
}

void TcpLine::TakePeer() {
    while (QTcpSocket* caller = server_.nextPendingConnection()) {
        connect(caller, &QTcpSocket::disconnected, caller, &QObject::deleteLater);
        if (peer_ != nullptr) {
            caller->abort();
            continue;
        }
        Use(caller);
        connect(caller, &QTcpSocket::disconnected, this, [this] { peer_ = nullptr; });
    }
}

void TcpLine::Use(QTcpSocket* peer) {
    peer_ = peer;
    connect(peer, &QTcpSocket::readyRead, this, [this, peer] {
        const QByteArray bytes = peer->readAll();
        Received(
            {reinterpret_cast<const std::uint8_t*>(bytes.data()), static_cast<std::size_t>(bytes.size())});
    });
}

void TcpLine::Send(std::span<const std::uint8_t> bytes) {
    peer_->write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
}

}  // namespace corvane
