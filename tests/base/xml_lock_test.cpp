#include "base/xml_lock.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>

#include "tests/base/xml_lock_limit.h"

namespace {

std::atomic<int> gRefusals{0};
std::atomic<int> gGranted{0};
timespec gUntil{};  // of the last wait with a limit

}  // namespace

extern "C" {
int __real_pthread_rwlock_rdlock(pthread_rwlock_t *lock);
int __wrap_pthread_rwlock_rdlock(pthread_rwlock_t *lock);

int __wrap_pthread_rwlock_rdlock(pthread_rwlock_t *lock) {
    if (gRefusals > 0) {
        --gRefusals;
        return EAGAIN;
    }
    ++gGranted;
    return __real_pthread_rwlock_rdlock(lock);
}

int __real_pthread_rwlock_clockwrlock(pthread_rwlock_t *lock, clockid_t clock,
                                      const timespec *until);
int __wrap_pthread_rwlock_clockwrlock(pthread_rwlock_t *lock, clockid_t clock,
                                      const timespec *until);

int __wrap_pthread_rwlock_clockwrlock(pthread_rwlock_t *lock, clockid_t clock,
                                      const timespec *until) {
    gUntil = *until;
    timespec later = *until;
    later.tv_sec += corvenna::test::gXmlLockSecondsMore;
    return __real_pthread_rwlock_clockwrlock(lock, clock, &later);
}
}

namespace corvenna::test {

std::atomic<std::time_t> gXmlLockSecondsMore{0};

namespace {

TEST(XmlSharedLock, IsAskedForAgainWhileTooManyHoldIt) {
    gRefusals = 2;
    const XmlSharedLock lock;
    EXPECT_EQ(0, gRefusals);
    EXPECT_EQ(1, gGranted);
}

std::time_t Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

TEST(XmlLock, HoldsAForkUpForASecondAtMost) {
    const std::time_t before = Now();
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    ASSERT_EQ(child, waitpid(child, nullptr, 0));
    EXPECT_LE(before + 1, gUntil.tv_sec);
    EXPECT_GE(Now() + 1, gUntil.tv_sec);
}

}  // namespace
}  // namespace corvenna::test
