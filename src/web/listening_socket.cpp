#include "web/listening_socket.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace corvane {

using namespace Qt::StringLiterals;

namespace {

constexpr int kBacklog = 64;

QString Reason(const QHostAddress& address, std::uint16_t port, int error) {
    switch (error) {
        case EADDRINUSE:
            return u"port %1 is in use by another program"_s.arg(port);
        case EACCES:
            return u"ports below 1024, such as %1, are kept for the system's own programs"_s.arg(port);
        case EADDRNOTAVAIL:
            return u"%1 is no address of this machine"_s.arg(address.toString());
        default:
            return u"%1 port %2: %3"_s.arg(address.toString())
                .arg(port)
                .arg(QString::fromLocal8Bit(std::strerror(error)));
    }
}

}  // namespace

std::variant<int, QString> OpenListeningSocket(const QHostAddress& address, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    addrinfo* found = nullptr;
    const QByteArray host = address.toString().toLatin1();
    if (const int error = getaddrinfo(host, QByteArray::number(port), &hints, &found); error != 0)
        return QString::fromLocal8Bit(gai_strerror(error));
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> info(found, freeaddrinfo);
    const int descriptor = socket(info->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) return Reason(address, port, errno);
    const int on = 1;  // a port whose last connections are still being forgotten is free
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(descriptor, info->ai_addr, info->ai_addrlen) == 0 && listen(descriptor, kBacklog) == 0)
        return descriptor;
    const int error = errno;
    close(descriptor);
    return Reason(address, port, error);
}

}  // namespace corvane
