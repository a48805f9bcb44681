// A download thread that finds no memory for what is to tell of its end.

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <thread>

#include "base/process_end.h"

namespace {

std::atomic<bool> gValuesFail{false};
std::atomic<bool> gWaited{false};

}  // namespace

extern "C" {

int __real_pthread_setspecific(pthread_key_t key, const void *value);
int __wrap_pthread_setspecific(pthread_key_t key, const void *value);
int __wrap_pthread_setspecific(pthread_key_t key, const void *value) {
    return gValuesFail ? ENOMEM : __real_pthread_setspecific(key, value);
}

int __wrap_pthread_cond_clockwait(pthread_cond_t *, pthread_mutex_t *, clockid_t, const timespec *);
int __wrap_pthread_cond_clockwait(pthread_cond_t *, pthread_mutex_t *, clockid_t,
                                  const timespec *) {
    gWaited = true;
    return ETIMEDOUT;
}
}

namespace corvenna::test {
namespace {

/// Ends a process in which a thread has worked; with 0 when nothing is waited for.
[[noreturn]] void EndAfterWork(bool failFromTheStart) {
    std::atexit([] { _exit(gWaited ? 1 : 0); });
    GuardProcessEnd();
    gValuesFail = failFromTheStart;
    std::thread([] {
        { const DownloadSteps steps; }
        gValuesFail = true;
    }).join();
    std::exit(2);
}

TEST(ProcessEnd, WaitsForTheWorkAloneOfAThreadWithoutMemoryForItsKey) {
    EXPECT_EXIT(EndAfterWork(true), testing::ExitedWithCode(0), "");
}

TEST(ProcessEnd, DoesNotWaitForAThreadThatFindsNoMemoryForItsNextRound) {
    EXPECT_EXIT(EndAfterWork(false), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace corvenna::test
