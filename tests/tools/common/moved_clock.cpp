// Preloaded into a program, moves its time of day by the seconds that stand, as a 32-bit number, in
// the file that CORVENNA_MOVED_CLOCK names. Clocks that only run on are left alone, as they are
// when somebody sets a machine's time.

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

using Seconds = std::atomic<std::int32_t>;
static_assert(sizeof(Seconds) == sizeof(std::int32_t));

Seconds *Map() {
    const char *path = std::getenv("CORVENNA_MOVED_CLOCK");
    const int fd = path == nullptr ? -1 : open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return nullptr;
    }
    void *mapped = mmap(nullptr, sizeof(Seconds), PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    return mapped == MAP_FAILED ? nullptr : static_cast<Seconds *>(mapped);
}

std::int32_t Moved() {
    static const Seconds *const moved = Map();
    return moved == nullptr ? 0 : moved->load();
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec *now) {
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        now->tv_sec += Moved();
    }
    return result;
}

extern "C" time_t time(time_t *copy) {
    timespec now{};
    static_cast<void>(clock_gettime(CLOCK_REALTIME, &now));
    if (copy != nullptr) {
        *copy = now.tv_sec;
    }
    return now.tv_sec;
}

extern "C" int gettimeofday(timeval *now, void * /*zone*/) {
    timespec exact{};
    const int result = clock_gettime(CLOCK_REALTIME, &exact);
    now->tv_sec = exact.tv_sec;
    now->tv_usec = static_cast<suseconds_t>(exact.tv_nsec / 1000);
    return result;
}
