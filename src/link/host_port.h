// HOST and HOST:PORT, as people, settings and browsers write them.
#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace corvane {

struct HostPort {
    QString host;            ///< a name or an address, without brackets
    std::uint16_t port = 0;  ///< 0: none was given
};

/// Takes "example.org", "192.168.1.10" and "::1", each of them with a port, too: "example.org:80",
/// "[::1]:80". An IPv6 address may stand in brackets without one, and must with one. Nothing where `text` is
/// none of these.
[[nodiscard]] std::optional<HostPort> ParseHostPort(const QString& text);

/// The host alone, where a port has no place.
[[nodiscard]] std::optional<QString> ParseHost(const QString& text);

/// An IPv6 address in brackets, any other host as it is: what stands before a port.
[[nodiscard]] QString BracketedHost(const QString& host);

}  // namespace corvane
