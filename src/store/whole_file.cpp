#include "store/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace corvane {

namespace {

/// An error text, or empty. A file system that cannot sync a folder has nothing to sync there.
std::string Sync(const std::string& path, int flags) {
    const int file = open(path.c_str(), flags | O_CLOEXEC);
    if (file < 0) return path + ": " + std::strerror(errno);
    const bool synced = fsync(file) == 0 || errno == EINVAL;
    const int error = errno;
    close(file);
    return synced ? std::string() : path + ": " + std::strerror(error);
}

bool Rename(const std::string& from, const std::string& to, Existing existing) {
    if (existing == Existing::Replaced) return std::rename(from.c_str(), to.c_str()) == 0;
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // Some file systems cannot do both in one step.
    if (access(to.c_str(), F_OK) == 0) {
        errno = EEXIST;
        return false;
    }
    return std::rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace

std::string PutInPlace(const std::string& from, const std::string& to, Existing existing) {
    if (std::string error = Sync(from, O_RDONLY); !error.empty()) return error;
    if (!Rename(from, to, existing)) return to + ": " + std::strerror(errno);
    const std::string folder = std::filesystem::path(to).parent_path().string();
    return Sync(folder.empty() ? "." : folder, O_RDONLY | O_DIRECTORY);
}

}  // namespace corvane
