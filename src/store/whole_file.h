// Files that others find whole or not at all, also after the power went.
#pragma once

#include <string>

namespace corvane {

enum class Existing { Replaced, Kept };  ///< what becomes of a file that stands in the place already

/// Gives the finished file `from` the name `to` in the same folder, once both are on the disk. An error text,
/// or empty; where `to` exists and is to be kept, that is an error.
[[nodiscard]] std::string PutInPlace(const std::string& from, const std::string& to, Existing existing);

}  // namespace corvane
