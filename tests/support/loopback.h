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
#include <set>

namespace corvane {

/// Handles events until `condition` holds, for at most five seconds. Returns whether it came to hold.
template <typename Condition>
[[nodiscard]] bool SpinUntil(Condition condition) {
    const QDeadlineTimer deadline(5000);
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

/// A port that nobody listened on a moment ago, and that this test program was not given before.
[[nodiscard]] inline std::uint16_t FreePort() {
    static std::set<std::uint16_t> given;
    for (;;) {
        QTcpServer server;
        if (!server.listen(QHostAddress::Any)) return 0;
        if (given.insert(server.serverPort()).second) return server.serverPort();
    }
}

/// The far end of a connection, as a gateway or a reader at the other side.
class FarEnd {
public:
    /// Connects to a port of this machine. The system does this alone: the server has not noticed yet.
    explicit FarEnd(std::uint16_t port) {
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
