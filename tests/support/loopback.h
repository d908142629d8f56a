// Real sockets on this machine: waits with an end, ports that are free, and the far end of a connection.
#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <cstdint>

namespace corvane {

/// Handles events until `condition` holds, for at most five seconds. Returns whether it came to hold.
template <typename Condition>
[[nodiscard]] bool SpinUntil(Condition condition) {
    const QDeadlineTimer deadline(5000);
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&loop, &condition, &deadline] {
        if (condition() || deadline.hasExpired()) loop.quit();
    });
    look.start(1);
    loop.exec();
    return condition();
}

/// A port that nobody listened on a moment ago.
[[nodiscard]] inline std::uint16_t FreePort() {
    QTcpServer server;
    return server.listen(QHostAddress::Any) ? server.serverPort() : std::uint16_t{0};
}

/// The far end of a connection, as a gateway or a reader at the other side.
class FarEnd {
public:
    /// Connects to a port of this machine.
    explicit FarEnd(std::uint16_t port) { socket_.connectToHost(QHostAddress::LocalHost, port); }

    void Send(const QByteArray& bytes) { socket_.write(bytes); }
    void Close() { socket_.disconnectFromHost(); }
    [[nodiscard]] bool IsConnected() const { return socket_.state() == QAbstractSocket::ConnectedState; }
    [[nodiscard]] bool IsGone() const { return socket_.state() == QAbstractSocket::UnconnectedState; }
    [[nodiscard]] QByteArray Received() {
        received_ += socket_.readAll();
        return received_;
    }
    [[nodiscard]] QTcpSocket& Socket() { return socket_; }

private:
    QTcpSocket socket_;
    QByteArray received_;
};

}  // namespace corvane
