// Writes records that were given up into the database after all.
#pragma once

#include <cstdint>
#include <string>

#include "store/sql_worker.h"

namespace corvane {

/// Runs the inserts of the first `bytes` of the file at `path`, a statement a line, in one transaction: all
/// or none. A record that the table has already, by all its columns, is left out, so that a run which was cut
/// short can be repeated. Lines that insert into no table of the capture are an error, and nothing is
/// written. The result is one row: how many were written, and how many were there already.
[[nodiscard]] SqlJob WriteInJob(std::string path, std::int64_t bytes);

}  // namespace corvane
