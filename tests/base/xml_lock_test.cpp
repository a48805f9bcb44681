#include "base/xml_lock.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>

#include "tests/support/xml_lock_wait.h"

namespace {

std::atomic<int> gRefusals{0};
std::atomic<int> gGranted{0};

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
}

namespace corvenna::test {
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
    EXPECT_LE(before + 1, XmlLockWait::Limit());
    EXPECT_GE(Now() + 1, XmlLockWait::Limit());
}

}  // namespace
}  // namespace corvenna::test
