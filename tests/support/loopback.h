// Real sockets on this machine: waits with an end, ports that are free, and the far end of a connection.
#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstdint>

#include <netinet/in.h>
#include <sys/socket.h>

namespace corvane {

/// Handles events until `condition` holds, for at most `patience` ms. Returns whether it came to hold.
template <typename Condition>
[[nodiscard]] bool SpinUntil(Condition condition, int patience = 5000) {
    const QDeadlineTimer deadline(patience);
    bool holds = false;
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        holds = condition();
        if (holds || deadline.hasExpired()) loop.quit();
    });
    look.start(1);
    loop.exec();
    return holds;
}

/// A port that nobody listens on. Bound until this process ends, it is given to nobody else; who names it may
/// listen there all the same, as servers bind with SO_REUSEADDR.
[[nodiscard]] inline std::uint16_t FreePort() {
    const int held = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    EXPECT_EQ(setsockopt(held, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(held, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(getsockname(held, reinterpret_cast<sockaddr*>(&address), &size), 0);
    return ntohs(address.sin_port);
}

/// The far end of a connection, as a gateway or a reader at the other side.
class FarEnd {
public:
    /// Connects to a port of this machine. The system does this alone: the server has not noticed yet.
    explicit FarEnd(std::uint16_t port, const QHostAddress& from = {}) {
        EXPECT_TRUE(from.isNull() || socket_.bind(from));
        socket_.connectToHost(QHostAddress::LocalHost, port);
        EXPECT_TRUE(socket_.waitForConnected(5000)) << "port " << port;
    }

    void Send(const QByteArray& bytes) {
        socket_.write(bytes);
        socket_.flush();
    }
    void Close() { socket_.disconnectFromHost(); }
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
