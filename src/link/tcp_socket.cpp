#include "link/tcp_socket.h"

#include <QHostAddress>

#include <array>
#include <utility>

#ifdef Q_OS_LINUX
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

#include "base/clock.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

/// Lets the system notice within about a minute that a peer is gone without a goodbye, where it can.
void KeepAlive(QTcpSocket& socket) {
    socket.setSocketOption(QAbstractSocket::KeepAliveOption, 1);
#ifdef Q_OS_LINUX
    const auto descriptor = static_cast<int>(socket.socketDescriptor());
    const auto set = [descriptor](int option, int value) {
        setsockopt(descriptor, IPPROTO_TCP, option, &value, sizeof value);
    };
    set(TCP_KEEPIDLE, 30);
    set(TCP_KEEPINTVL, 10);
    set(TCP_KEEPCNT, 3);
#endif
}

}  // namespace

QString SocketStateText(SocketState state) {
    static const std::array<QString, 10> texts = {
        u"Socket Closed"_s,      u"Socket Open"_s,    u"Listening"_s,
        u"Connection Pending"_s, u"Resolving Host"_s, u"Host Resolved"_s,
        u"Connecting"_s,         u"Connected"_s,      u"Peer is Closing Connection"_s,
        u"Socket Error"_s};
    return texts[static_cast<std::size_t>(state)];
}

TcpSocket::TcpSocket(Clock& clock) : clock_(clock) {
    connect(&server_, &QTcpServer::newConnection, this, &TcpSocket::TakeIncoming);
    connect(&clock, &Clock::SecondPassed, this, &TcpSocket::OnSecond);
}

TcpSocket::~TcpSocket() {
    Drop();
}

void TcpSocket::SetState(SocketState state) {
    if (state == state_) return;
    state_ = state;
    Q_EMIT StateChanged(state);
}

bool TcpSocket::Listen(std::uint16_t port) {
    Close();
    addressInUse_ = false;
    if (!server_.listen(QHostAddress::Any, port)) {
        addressInUse_ = server_.serverError() == QAbstractSocket::AddressInUseError;
        errorText_ = server_.errorString();
        SetState(SocketState::Error);
        return false;
    }
    SetState(SocketState::Listening);
    return true;
}

void TcpSocket::Connect(const QString& host, std::uint16_t port) {
    Close();
    addressInUse_ = false;
    connectStarted_ = clock_.Monotonic();
    auto socket = std::make_unique<QTcpSocket>();
    QTcpSocket& connecting = *socket;
    Use(std::move(socket));
    connect(&connecting, &QTcpSocket::stateChanged, this, [this](QAbstractSocket::SocketState state) {
        if (state == QAbstractSocket::HostLookupState) SetState(SocketState::ResolvingHost);
        if (state == QAbstractSocket::ConnectingState) SetState(SocketState::Connecting);
    });
    connect(&connecting, &QTcpSocket::connected, this, [this] {
        KeepAlive(*peer_);
        lastArrival_ = clock_.Monotonic();
        SetState(SocketState::Connected);
        Q_EMIT Connected();
    });
    connecting.connectToHost(host, port);
}

void TcpSocket::TakeIncoming() {
    while (server_.hasPendingConnections()) {
        std::unique_ptr<QTcpSocket> incoming(server_.nextPendingConnection());
        incoming->setParent(nullptr);
        if (peer_ != nullptr) {
            const bool silent =
                reading_ && replaceAfter_.has_value() && clock_.Monotonic() - lastArrival_ >= *replaceAfter_;
            if (!silent) {
                incoming->abort();
                continue;
            }
            Drop();
            Q_EMIT PeerClosed();
        }
        KeepAlive(*incoming);
        lastArrival_ = clock_.Monotonic();
        Use(std::move(incoming));
        SetState(SocketState::Connected);
        Q_EMIT Connected();
    }
}

void TcpSocket::Use(std::unique_ptr<QTcpSocket> socket) {
    peer_ = std::move(socket);
    peer_->setReadBufferSize(kReadBuffer);
    connect(peer_.get(), &QTcpSocket::readyRead, this, &TcpSocket::ReadWhileOn);
    connect(peer_.get(), &QTcpSocket::disconnected, this, &TcpSocket::OnDisconnected);
    connect(peer_.get(), &QTcpSocket::errorOccurred, this, &TcpSocket::OnError);
}

void TcpSocket::SetReading(bool on) {
    if (on == std::exchange(reading_, on) || !on) return;
    lastArrival_ = clock_.Monotonic();  // what the peer sent meanwhile is not its silence
    // What has come raises no signal of its own any more.
    QMetaObject::invokeMethod(this, &TcpSocket::ReadWhileOn, Qt::QueuedConnection);
}

void TcpSocket::ReadWhileOn() {
    if (!dropsInput_) {
        while (reading_ && ReadSome(kReadBuffer)) {
        }
        return;
    }
    while (droppable_ > 0 && ReadSome(droppable_)) {
    }
}

bool TcpSocket::ReadSome(qint64 most) {
    // A receiver of the data may have closed this socket, which lets go of the peer.
    if (peer_ == nullptr) return false;
    std::array<char, kReadBuffer> buffer;  // NOLINT(*-member-init): filled by read
    const qint64 count = peer_->read(buffer.data(), most);
    if (count <= 0) return false;
    lastArrival_ = clock_.Monotonic();
    if (dropsInput_) {
        droppable_ -= count;
    } else {
        Q_EMIT DataArrival(QByteArrayView(buffer.data(), count));
    }
    return true;
}

bool TcpSocket::SendText(QByteArrayView text) {
    if (state_ != SocketState::Connected) return false;
    if (peer_->bytesToWrite() + text.size() > kMostUnsent) {
        const QString peer = peer_->peerAddress().toString();
        EndPeer();
        Q_EMIT PeerTooSlow(peer);
        return false;
    }
    peer_->write(text.data(), text.size());
    return true;
}

void TcpSocket::Close() {
    server_.close();
    Drop();
    SetState(SocketState::Closed);
}

void TcpSocket::Drop() {
    if (peer_ == nullptr) return;
    peer_->disconnect(this);
    peer_->abort();
    // This may run within one of the peer's own signals.
    peer_.release()->deleteLater();
}

void TcpSocket::EndPeer() {
    if (!keepsListening_ || !server_.isListening()) {
        Close();
        return;
    }
    Drop();
    SetState(SocketState::Listening);
}

void TcpSocket::OnDisconnected() {
    while (!dropsInput_ && ReadSome(kReadBuffer)) {
    }
    if (peer_ == nullptr) return;
    SetState(SocketState::PeerClosing);
    Q_EMIT PeerClosed();
    EndPeer();
}

void TcpSocket::OnError(QAbstractSocket::SocketError error) {
    // A connection that was up ends with `disconnected`, which follows.
    if (state_ == SocketState::Connected || error == QAbstractSocket::RemoteHostClosedError) return;
    errorText_ = peer_->errorString();
    addressInUse_ = error == QAbstractSocket::AddressInUseError;
    server_.close();
    Drop();
    SetState(SocketState::Error);
}

void TcpSocket::OnSecond() {
    const bool attempting = state_ == SocketState::ResolvingHost || state_ == SocketState::Connecting;
    if (attempting && clock_.Monotonic() - connectStarted_ >= kConnectTimeout) Close();
    if (dropsInput_) {
        droppable_ = kReadBuffer;
        ReadWhileOn();
    }
}

std::uint16_t TcpSocket::LocalPort() const {
    return server_.isListening() ? server_.serverPort() : std::uint16_t{0};
}

}  // namespace corvane
