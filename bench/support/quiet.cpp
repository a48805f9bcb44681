#include "bench/support/quiet.h"

#include <unistd.h>

#include <utility>

namespace {

std::uint64_t gPausedMicroseconds;

}  // namespace

extern "C" {
// No messages and no pauses: neither belongs to the job that is measured.
int __wrap_log_Text(int /*level*/, const char * /*format*/, ...) {
    return 1;
}
int __wrap_log_DB(int /*level*/, const char * /*format*/, ...) {
    return 1;
}
int __wrap_usleep(useconds_t microseconds) {
    gPausedMicroseconds += microseconds;
    return 0;
}
}

namespace corvenna::bench {

std::uint64_t TakePausedMicroseconds() {
    return std::exchange(gPausedMicroseconds, 0);
}

}  // namespace corvenna::bench
