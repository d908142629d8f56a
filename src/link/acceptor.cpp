#include "link/acceptor.h"

#include <QFile>
#include <QHostAddress>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/clock.h"

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kBacklog = 64;
constexpr int kMostAtOnce = 64;  // connections taken before other events have their turn

QString SystemText(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

QString Reason(const QHostAddress& address, std::uint16_t port, int error) {
    switch (error) {
        case EADDRINUSE:
            return u"port %1 is in use by another program"_s.arg(port);
        case EACCES:
            return u"ports below 1024, such as %1, are kept for the system's own programs"_s.arg(port);
        case EADDRNOTAVAIL:
            return u"%1 is no address of this machine"_s.arg(address.toString());
        default:
            return u"port %1: %2"_s.arg(QString::number(port), SystemText(error));
    }
}

struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t size = 0;
    [[nodiscard]] const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&storage); }
};

SocketAddress AddressOf(const QHostAddress& address, std::uint16_t port) {
    SocketAddress result;
    bool isV4 = false;
    const quint32 v4 = address.toIPv4Address(&isV4);
    if (isV4 && address != QHostAddress::Any) {
        auto& in = reinterpret_cast<sockaddr_in&>(result.storage);
        in.sin_family = AF_INET;
        in.sin_port = htons(port);
        in.sin_addr.s_addr = htonl(v4);
        result.size = sizeof in;
    } else {
        auto& in = reinterpret_cast<sockaddr_in6&>(result.storage);
        in.sin6_family = AF_INET6;
        in.sin6_port = htons(port);
        const Q_IPV6ADDR v6 = address.toIPv6Address();
        if (address != QHostAddress::Any) std::ranges::copy(v6.c, in.sin6_addr.s6_addr);
        in.sin6_scope_id = address.scopeId().toUInt();
        result.size = sizeof in;
    }
    return result;
}

/// A bound socket, or -1 and errno.
int Bind(const QHostAddress& address, std::uint16_t port) {
    const SocketAddress bound = AddressOf(address, port);
    const int descriptor = socket(bound.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) return -1;
    const int on = 1;  // a port whose last connections are still being forgotten is free
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const int six = address == QHostAddress::Any ? 0 : 1;
    if (bound.storage.ss_family == AF_INET6)
        setsockopt(descriptor, IPPROTO_IPV6, IPV6_V6ONLY, &six, sizeof six);
    if (bind(descriptor, bound.Get(), bound.size) == 0) return descriptor;
    const int error = errno;
    close(descriptor);
    errno = error;
    return -1;
}

/// A machine may have no IPv6.
int BindAnywhere(const QHostAddress& address, std::uint16_t port) {
    const int descriptor = Bind(address, port);
    const bool noIpv6 = descriptor < 0 && (errno == EAFNOSUPPORT || errno == EADDRNOTAVAIL);
    return noIpv6 && address == QHostAddress::Any ? Bind(QHostAddress(QHostAddress::AnyIPv4), port)
                                                  : descriptor;
}

std::uint16_t PortOf(int descriptor) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
    return ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                                               : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

/// The peer alone is to blame for these.
bool ConcernsThePeerAlone(int error) {
    return error == ECONNABORTED || error == EINTR || error == EPROTO;
}

}  // namespace

Outcome CheckListening(const QHostAddress& address, std::uint16_t port) {
    const int descriptor = BindAnywhere(address, port);
    if (descriptor < 0) return Outcome::Failure(Reason(address, port, errno));
    close(descriptor);
    return Outcome::Success();
}

Acceptor::Acceptor(Clock& clock) : clock_(clock) {
    connect(&clock, &Clock::SecondPassed, this, &Acceptor::Retry);
}

Acceptor::~Acceptor() {
    Close();
}

Outcome Acceptor::Listen(const QHostAddress& address, std::uint16_t port) {
    Close();
    const int descriptor = BindAnywhere(address, port);
    addressInUse_ = descriptor < 0 && errno == EADDRINUSE;
    if (descriptor < 0) return Outcome::Failure(Reason(address, port, errno));
    if (listen(descriptor, kBacklog) != 0) {
        const int error = errno;
        addressInUse_ = error == EADDRINUSE;
        close(descriptor);
        return Outcome::Failure(Reason(address, port, error));
    }
    port_ = PortOf(descriptor);
    Begin(descriptor);
    return Outcome::Success();
}

Outcome Acceptor::ListenAt(const QString& path, SocketFor whom) {
    Close();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    if (static_cast<std::size_t>(name.size()) >= sizeof address.sun_path)
        return Outcome::Failure(SystemText(ENAMETOOLONG));
    std::ranges::copy(name, address.sun_path);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    // Before it has its name, so that there is no moment at which others could connect.
    const bool bound = descriptor >= 0 && fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 &&
                       bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const bool opened = bound && (whom == SocketFor::Owner ||
                                  chmod(name.constData(), S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP) == 0);
    if (opened && listen(descriptor, kBacklog) == 0) {
        path_ = path;
        Begin(descriptor);
        return Outcome::Success();
    }
    const int error = errno;
    if (descriptor >= 0) close(descriptor);
    if (bound) unlink(name.constData());
    return Outcome::Failure(SystemText(error));
}

void Acceptor::Begin(int descriptor) {
    descriptor_ = descriptor;
    notifier_ = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    notifier_->setEnabled(taking_);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &Acceptor::Take);
}

void Acceptor::Close() {
    if (!IsListening()) return;
    // This may run within the notifier's own signal.
    notifier_->setEnabled(false);
    notifier_.release()->deleteLater();
    close(std::exchange(descriptor_, -1));
    if (!path_.isEmpty()) unlink(QFile::encodeName(path_).constData());
    path_.clear();
    port_ = 0;
    paused_ = told_ = false;
}

void Acceptor::SetTaking(bool on) {
    taking_ = on;
    if (IsListening()) notifier_->setEnabled(taking_ && !paused_);
}

void Acceptor::Take() {
    for (int taken = 0; taken < kMostAtOnce && IsListening() && taking_; ++taken) {
        const int incoming = accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        const int error = incoming < 0 ? errno : 0;
        if (ConcernsThePeerAlone(error)) continue;
        if (incoming < 0 && error != EAGAIN) {
            paused_ = true;
            failedAt_ = clock_.Monotonic();
            notifier_->setEnabled(false);
            if (!std::exchange(told_, true)) {
                Q_EMIT Told(
                    u"takes no connections: %1. It is tried again every second."_s.arg(SystemText(error)));
            }
        }
        if (incoming < 0) return;
        Q_EMIT Incoming(incoming);
    }
}

void Acceptor::Retry() {
    if (!IsListening()) return;
    if (std::exchange(paused_, false)) {
        notifier_->setEnabled(taking_);
        Take();  // which tells whether the system takes it now, even where nobody waits
    }
    if (told_ && clock_.Monotonic() - failedAt_ >= kWell) {
        told_ = false;
        Q_EMIT Told(u"takes connections again."_s);
    }
}

}  // namespace corvane
