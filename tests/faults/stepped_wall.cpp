// Preloaded into a program: its wall clock stands at the unix seconds that the first eight bytes of the file
// $STEPPED_WALL hold. Its other clocks are the machine's own.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

const volatile std::int64_t* Wall() {
    const char* path = std::getenv("STEPPED_WALL");
    const int file = path != nullptr ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    void* page = mmap(nullptr, sizeof(std::int64_t), PROT_READ, MAP_SHARED, file, 0);
    if (page == MAP_FAILED) std::abort();
    close(file);
    return static_cast<const volatile std::int64_t*>(page);
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static const volatile std::int64_t* const wall = Wall();
    if (clock != CLOCK_REALTIME) return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    *time = {.tv_sec = *wall, .tv_nsec = 0};
    return 0;
}
