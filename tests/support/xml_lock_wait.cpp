#include "tests/support/xml_lock_wait.h"

#include <pthread.h>

#include <atomic>

namespace {

std::atomic<std::time_t> gMore{0};
std::atomic<std::time_t> gLimit{0};

}  // namespace

extern "C" {

int __real_pthread_rwlock_clockwrlock(pthread_rwlock_t *lock, clockid_t clock,
                                      const timespec *until);
int __wrap_pthread_rwlock_clockwrlock(pthread_rwlock_t *lock, clockid_t clock,
                                      const timespec *until);

int __wrap_pthread_rwlock_clockwrlock(pthread_rwlock_t *lock, clockid_t clock,
                                      const timespec *until) {
    gLimit = until->tv_sec;
    const timespec later{until->tv_sec + gMore, until->tv_nsec};
    return __real_pthread_rwlock_clockwrlock(lock, clock, &later);
}
}

namespace corvenna::test {

void XmlLockWait::Prolong(std::time_t seconds) {
    gMore = seconds;
}

std::time_t XmlLockWait::Limit() {
    return gLimit;
}

}  // namespace corvenna::test
