#include "tests/support/set_clock.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <limits>

namespace {

constexpr long long kMicroseconds = 1000000;  // in a second
constexpr long long kNotSet = std::numeric_limits<long long>::min();

/// Microseconds since the epoch, of the time before the first look.
std::atomic<long long> gBase{kNotSet};
std::atomic<long long> gLooks{0};

int ReadShown(clockid_t clock, timespec &now) {
    const bool calendar = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
    const long long base = gBase;
    if (!calendar || base == kNotSet) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, &now));
    }
    const long long shown = base + gLooks++;
    now.tv_sec = static_cast<std::time_t>(shown / kMicroseconds);
    now.tv_nsec = static_cast<long>(shown % kMicroseconds * 1000);
    return 0;
}

/// Of the clock that is always there.
timespec Shown() {
    timespec now{};
    if (ReadShown(CLOCK_REALTIME, now) != 0) {
        std::abort();
    }
    return now;
}

}  // namespace

// The program's own functions of these names are found before the C library's, by other libraries,
// too.

#pragma GCC diagnostic push
// The C library's own declarations carry attributes that need not be repeated here.
#pragma GCC diagnostic ignored "-Wredundant-decls"

extern "C" {

[[gnu::visibility("default")]] std::time_t time(std::time_t *result) {
    const std::time_t now = Shown().tv_sec;
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

[[gnu::visibility("default")]] int clock_gettime(clockid_t clock, timespec *result) {
    return ReadShown(clock, *result);
}

[[gnu::visibility("default")]] int gettimeofday(timeval *result, void *) {
    const timespec now = Shown();
    *result = {now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
    return 0;
}
}

#pragma GCC diagnostic pop

namespace corvenna::test {

SetClock::~SetClock() {
    gBase = kNotSet;
}

void SetClock::To(std::time_t now) {
    gBase = now * kMicroseconds - gLooks;
}

}  // namespace corvenna::test
