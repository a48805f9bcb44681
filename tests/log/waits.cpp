#include "tests/log/waits.h"

#include <pthread.h>

#include <cerrno>
#include <mutex>

namespace {

std::mutex gMutex;
// Never destroyed: a writer may still wait while the process ends.
auto &gWaits = *new std::vector<corvenna::test::Waits::Wait>;
bool gRunOut = false;
std::size_t gGranted = 0;

}  // namespace

extern "C" {

int __real_pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock, const timespec *until);
int __wrap_pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock, const timespec *until);

int __wrap_pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock, const timespec *until) {
    {
        const std::lock_guard<std::mutex> lock(gMutex);
        gWaits.push_back({clock, *until});
        if (gRunOut && gGranted == 0) {
            return ETIMEDOUT;
        }
        if (gGranted > 0) {
            --gGranted;
        }
    }
    return __real_pthread_mutex_clocklock(mutex, clock, until);
}
}

namespace corvenna::test {

std::vector<Waits::Wait> Waits::All() {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gWaits;
}

void Waits::RunOut(std::size_t granted) {
    const std::lock_guard<std::mutex> lock(gMutex);
    gRunOut = true;
    gGranted = granted;
}

}  // namespace corvenna::test
