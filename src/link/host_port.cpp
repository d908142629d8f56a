#include "link/host_port.h"

#include <QHostAddress>

#include <algorithm>

#include "base/number_entry.h"

namespace corvane {

namespace {

bool IsIpv6(const QString& text) {
    return QHostAddress(text).protocol() == QAbstractSocket::IPv6Protocol;
}

bool IsNameLetter(QChar letter) {
    return letter.isLetterOrNumber() || letter == u'-' || letter == u'.' || letter == u'_';
}

std::optional<std::uint16_t> ParsePort(const QString& text) {
    const auto port = ParseInteger<std::uint16_t>(text.toStdString());
    return port == 0 ? std::nullopt : port;
}

}  // namespace

std::optional<HostPort> ParseHostPort(const QString& text) {
    if (IsIpv6(text)) return HostPort{.host = text};
    const bool bracketed = text.startsWith(u'[');
    const auto end = bracketed ? text.indexOf(u']') : text.indexOf(u':');
    const QString host = bracketed ? text.mid(1, end - 1) : text.left(end);
    const QString rest = end < 0 ? QString() : text.mid(bracketed ? end + 1 : end);
    const bool isHost =
        bracketed ? end > 0 && IsIpv6(host) : !host.isEmpty() && std::ranges::all_of(host, IsNameLetter);
    if (!isHost) return std::nullopt;
    if (rest.isEmpty()) return HostPort{.host = host};
    const auto port = rest.startsWith(u':') ? ParsePort(rest.mid(1)) : std::nullopt;
    if (!port.has_value()) return std::nullopt;
    return HostPort{.host = host, .port = *port};
}

std::optional<QString> ParseHost(const QString& text) {
    const auto parsed = ParseHostPort(text);
    return parsed.has_value() && parsed->port == 0 ? std::optional(parsed->host) : std::nullopt;
}

QString BracketedHost(const QString& host) {
    return IsIpv6(host) ? u'[' + host + u']' : host;
}

}  // namespace corvane
