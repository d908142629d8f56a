// Copies of whole database files.
#pragma once

#include <string>
#include <vector>

#include "store/sql_worker.h"

namespace corvane {

/// What a copy is called until it is whole: its name with this at the end.
inline constexpr const char* kPartialEnding = ".partial";

/// Removes what is left of a copy to `to` whose program was killed.
void RemovePartial(const std::string& to);

/// A job on the file to be copied: makes a copy of one moment at `to`, for this user alone, which appears
/// there as a whole and takes the place of a file of that name. Then removes the files `obsolete`.
[[nodiscard]] SqlJob CopyJob(std::string to, std::vector<std::string> obsolete);

/// A job on a file that is to take the place of the database: looks at all of it. It fails where anything is
/// damaged, or where the tables that the capture writes to are not all there.
[[nodiscard]] SqlJob CheckJob();

/// A job on the file to be copied: puts a copy of it in the place of the database `current`, with its rights,
/// once nobody uses that. Where `current` is a symbolic link, that stays, and the file behind it is replaced.
[[nodiscard]] SqlJob ReplaceJob(std::string current);

}  // namespace corvane
