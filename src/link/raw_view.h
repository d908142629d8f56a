// Received bytes as people read them: packets field by field, everything else in hexadecimal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

struct MonitorModel;

/// Bytes that belong together: what looks like a whole packet, or what stands between two of those.
struct RawRun {
    std::string_view bytes;
    const MonitorModel* model = nullptr;  ///< null where it is no packet
    bool accepted = false;                ///< a packet that its checksum lets through
};

/// A field of a packet.
struct RawField {
    std::string_view name;
    std::size_t offset = 0;  ///< of its first byte in the packet
    std::size_t width = 0;   ///< bytes
    std::string value = {};  ///< with its unit; empty where the bytes are all there is to say
};

/// Takes `bytes`, a stream's raw text, apart. The runs refer to them.
[[nodiscard]] std::vector<RawRun> RawRuns(std::string_view bytes);

/// The fields of a run that is a packet, by the packet table and in its order, then the checksum.
[[nodiscard]] std::vector<RawField> RawFields(const RawRun& packet);

/// "FE FF 03".
[[nodiscard]] std::string HexText(std::string_view bytes);

/// The lines of a view of `bytes`, which are a stream's raw text. What looks like a whole packet is taken
/// apart by the packet table, whatever its checksum; the rest is shown 16 bytes a line.
[[nodiscard]] std::vector<std::string> RawView(std::string_view bytes);

}  // namespace corvane
