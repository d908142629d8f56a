// What a request is, and which ones are refused before anybody looks at what they ask for.
#pragma once

#include <QHash>
#include <QString>

#include <microhttpd.h>

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string_view>

#include "web/web_reply.h"

namespace corvane {

inline constexpr std::size_t kLongestTarget = 2048;  ///< bytes

/// A header, cookie or argument; empty where there is none.
[[nodiscard]] std::string_view RequestValue(MHD_Connection* connection, MHD_ValueKind kind, const char* key);

/// The arguments of the address that have these names, empty where they are not given.
[[nodiscard]] QHash<QString, QString> RequestArguments(MHD_Connection* connection,
                                                       std::initializer_list<const char*> keys);

/// Judges a target as it was sent: too long, of another server, or with a %00, up to which the library would
/// hand it on. Nothing where it may be looked at.
[[nodiscard]] std::optional<WebReply> TargetRefusal(std::string_view target);

/// The same of method and headers: requests that change something are none of ours, nor are those that bring
/// something, or name two hosts.
[[nodiscard]] std::optional<WebReply> HeaderRefusal(MHD_Connection* connection, std::string_view method);

}  // namespace corvane
