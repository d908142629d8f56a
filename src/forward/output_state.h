// How an output stands, whatever it talks to.
#pragma once

#include <QString>

#include <cstdint>

namespace corvane {

enum class OutputState : std::uint8_t {
    Off,  ///< not wanted
    Resolving,
    Connecting,  ///< or, of an upload, on its way
    Up,          ///< nothing is wrong: connected, or ready for what comes next
    Backoff,     ///< it failed, and is tried again
    Refused,     ///< turned away for a reason that only people can mend; tried again seldom
};

/// "Off", "Connecting" and so on.
[[nodiscard]] QString OutputStateText(OutputState state);

}  // namespace corvane
