#include "link/tcp_socket.h"

#include <QHostAddress>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#ifdef Q_OS_LINUX
#include <netinet/in.h>
#include <netinet/tcp.h>
#endif
#include <sys/socket.h>
#include <unistd.h>

#include "base/clock.h"
#include "link/host_port.h"

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

/// Whether a peer that had ended what it sends has said since that it does not read, either.
bool HasGone(const QTcpSocket& socket) {
#ifdef Q_OS_LINUX
    tcp_info info{};
    socklen_t size = sizeof info;
    const auto descriptor = static_cast<int>(socket.socketDescriptor());
    return getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0 ||
           info.tcpi_state != TCP_CLOSE_WAIT;
#else
    return socket.state() != QAbstractSocket::ConnectedState;
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

TcpSocket::TcpSocket(Clock& clock) : clock_(clock), acceptor_(clock) {
    connect(&acceptor_, &Acceptor::Incoming, this, &TcpSocket::TakeIncoming);
    connect(&acceptor_, &Acceptor::Told, this, &TcpSocket::AcceptorTold);
    connect(&clock, &Clock::SecondPassed, this, &TcpSocket::OnSecond);
}

TcpSocket::~TcpSocket() {
    LetGo();
}

void TcpSocket::SetState(SocketState state) {
    if (state == state_) return;
    state_ = state;
    Q_EMIT StateChanged(state);
}

bool TcpSocket::Listen(std::uint16_t port) {
    Close();
    const Outcome listening = acceptor_.Listen(QHostAddress::Any, port);
    addressInUse_ = acceptor_.AddressInUse();
    if (!listening) errorText_ = listening.Error();
    SetState(listening ? SocketState::Listening : SocketState::Error);
    return bool{listening};
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
    connect(&connecting, &QTcpSocket::connected, this, &TcpSocket::NoteConnected);
    connecting.connectToHost(ParseHost(host).value_or(host), port);
}

void TcpSocket::TakeIncoming(int descriptor) {
    auto incoming = std::make_unique<QTcpSocket>();
    if ((peer_ != nullptr && !GivesWay()) || !incoming->setSocketDescriptor(descriptor)) {
        close(descriptor);
        return;
    }
    if (peer_ != nullptr) {
        LetGo();
        Q_EMIT PeerClosed();
    }
    Use(std::move(incoming));
    NoteConnected();
}

bool TcpSocket::GivesWay() const {
    const bool silent =
        reading_ && replaceAfter_.has_value() && clock_.Monotonic() - lastArrival_ >= *replaceAfter_;
    return silent || inputEnded_;
}

void TcpSocket::Use(std::unique_ptr<QTcpSocket> socket) {
    peer_ = std::move(socket);
    peer_->setReadBufferSize(kReadBuffer);
    answered_ = 0;
    connect(peer_.get(), &QTcpSocket::readyRead, this, &TcpSocket::ReadWhileOn);
    connect(peer_.get(), &QTcpSocket::disconnected, this, &TcpSocket::OnDisconnected);
    connect(peer_.get(), &QTcpSocket::errorOccurred, this, &TcpSocket::OnError);
}

void TcpSocket::NoteConnected() {
    KeepAlive(*peer_);
    if (input_ == Input::Drop) WatchInput();
    lastArrival_ = clock_.Monotonic();
    SetState(SocketState::Connected);
    Q_EMIT Connected();
}

void TcpSocket::SetReading(bool on) {
    if (on == std::exchange(reading_, on) || !on) return;
    lastArrival_ = clock_.Monotonic();  // what the peer sent meanwhile is not its silence
    // What has come raises no signal of its own any more.
    QMetaObject::invokeMethod(this, &TcpSocket::ReadWhileOn, Qt::QueuedConnection);
}

void TcpSocket::ReadWhileOn() {
    while (reading_ && ReadSome(kReadBuffer)) {
    }
}

/// The library takes the end of what a peer sends for the end of the connection: it is not to see it.
void TcpSocket::WatchInput() {
    for (QSocketNotifier* notifier : peer_->findChildren<QSocketNotifier*>())
        if (notifier->type() == QSocketNotifier::Read) notifier->setEnabled(false);
    inputEnded_ = false;
    dropped_ = new QSocketNotifier(peer_->socketDescriptor(), QSocketNotifier::Read, peer_.get());
    connect(dropped_, &QSocketNotifier::activated, this, &TcpSocket::DropSome);
}

void TcpSocket::DropSome() {
    if (state_ != SocketState::Connected || inputEnded_) return;
    std::array<char, kReadBuffer> buffer;  // NOLINT(*-member-init): filled by recv
    ssize_t count = 1;
    while (droppable_ > 0 && count > 0) {
        count = recv(static_cast<int>(peer_->socketDescriptor()), buffer.data(),
                     static_cast<std::size_t>(droppable_), MSG_DONTWAIT);
        droppable_ -= std::max<ssize_t>(count, 0);
    }
    if (count < 0 && errno != EAGAIN && errno != EINTR) return OnDisconnected();
    inputEnded_ = count == 0;
    dropped_->setEnabled(droppable_ > 0 && !inputEnded_);
}

bool TcpSocket::ReadSome(qint64 most) {
    // A receiver of the data may have closed this socket, which lets go of the peer.
    if (peer_ == nullptr) return false;
    std::array<char, kReadBuffer> buffer;  // NOLINT(*-member-init): filled by read
    const qint64 count = peer_->read(buffer.data(), most);
    if (count <= 0) return false;
    lastArrival_ = clock_.Monotonic();
    if (input_ == Input::HandOver) {
        Q_EMIT DataArrival(QByteArrayView(buffer.data(), count));
    } else if ((answered_ += count) > kMostOfAnswer) {
        EndPeer();
        Q_EMIT AnswerTooLong();
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
    answered_ = 0;
    peer_->write(text.data(), text.size());
    return true;
}

void TcpSocket::Close() {
    acceptor_.Close();
    LetGo();
    SetState(SocketState::Closed);
}

void TcpSocket::LetGo() {
    if (peer_ == nullptr) return;
    inputEnded_ = false;
    if (dropped_ != nullptr) std::exchange(dropped_, nullptr)->setEnabled(false);
    peer_->disconnect(this);
    peer_->abort();
    // This may run within one of the peer's own signals.
    peer_.release()->deleteLater();
}

void TcpSocket::OnDisconnected() {
    while (input_ == Input::HandOver && ReadSome(kReadBuffer)) {
    }
    if (peer_ == nullptr) return;
    SetState(SocketState::PeerClosing);
    Q_EMIT PeerClosed();
    EndPeer();
}

void TcpSocket::EndPeer() {
    if (!keepsListening_ || !acceptor_.IsListening()) {
        Close();
        return;
    }
    LetGo();
    SetState(SocketState::Listening);
}

void TcpSocket::OnError(QAbstractSocket::SocketError error) {
    // A connection that was up ends with `disconnected`, which follows.
    if (state_ == SocketState::Connected || error == QAbstractSocket::RemoteHostClosedError) return;
    errorText_ = peer_->errorString();
    addressInUse_ = error == QAbstractSocket::AddressInUseError;
    acceptor_.Close();
    LetGo();
    SetState(SocketState::Error);
}

void TcpSocket::OnSecond() {
    const bool attempting = state_ == SocketState::ResolvingHost || state_ == SocketState::Connecting;
    if (attempting && clock_.Monotonic() - connectStarted_ >= kConnectTimeout) Close();
    if (state_ == SocketState::Connected && inputEnded_ && HasGone(*peer_)) OnDisconnected();
    droppable_ = kReadBuffer;
    if (dropped_ != nullptr) DropSome();
}

}  // namespace corvane
