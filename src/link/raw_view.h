// Received bytes as people read them: packets field by field, everything else in hexadecimal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// The lines of a view of `bytes`, which are a stream's raw text. What looks like a whole packet is taken
/// apart by the packet table, whatever its checksum; the rest is shown 16 bytes a line.
[[nodiscard]] std::vector<std::string> RawView(std::string_view bytes);

}  // namespace corvane
