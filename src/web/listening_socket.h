// A TCP port of this machine that waits for connections.
#pragma once

#include <QHostAddress>

#include <cstdint>
#include <variant>

namespace corvane {

/// The descriptor of a socket that listens, for the caller to close; or why there is none.
[[nodiscard]] std::variant<int, QString> OpenListeningSocket(const QHostAddress& address, std::uint16_t port);

}  // namespace corvane
