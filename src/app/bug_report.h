// What somebody needs to know who is asked what went wrong.
#pragma once

#include <QString>

namespace corvane {

class Program;

/// Versions, counters, links, settings, the status list and the end of the error log, as text. Settings that
/// are keys, or may hold one, are named without their value.
[[nodiscard]] QString BugReport(Program& program);

}  // namespace corvane
