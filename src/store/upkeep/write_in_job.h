// Writes records that were given up into the database after all.
#pragma once

#include <cstdint>
#include <string>

#include "store/sql_worker.h"

namespace corvane {

/// Runs the inserts of the first `bytes` of the file at `path`, a statement a line, in one transaction: all
/// or none. A record that the table has already, by all its columns, is left out, so that a run which was cut
/// short can be repeated; and so is one of a table of power or energy that the database does not have. Lines
/// that insert into no table of the capture are an error, and nothing is written. The result is one row: how
/// many were written, were there already, and were of no use.
[[nodiscard]] SqlJob WriteInJob(std::string path, std::int64_t bytes);

}  // namespace corvane
