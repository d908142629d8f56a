// The pages, which are part of the program.
#pragma once

#include <optional>
#include <string_view>

#include "web/web_reply.h"

namespace corvane {

/// The page, style, script or picture at `path`; nothing where there is none.
[[nodiscard]] std::optional<WebReply> WebPage(std::string_view path);

}  // namespace corvane
