// Whether the time zone of this machine can be read.
#pragma once

#include <optional>
#include <string>

namespace corvane {

/// Where the system looks for its time zone: see tzset(3) and localtime(5).
struct TimeZoneSources {
    std::optional<std::string> variable;  ///< TZ, where it is set
    std::string localTime = "/etc/localtime";
    std::string folder = "/usr/share/zoneinfo";

    /// Those of this process.
    [[nodiscard]] static TimeZoneSources Here();
};

/// The system takes UTC for a zone that it cannot read, and says nothing. This is why it does so here, as a
/// text that a user can act on; empty where the zone is read, or is UTC by choice.
[[nodiscard]] std::string TimeZoneProblem(const TimeZoneSources& sources);

}  // namespace corvane
