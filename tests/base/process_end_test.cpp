
#include "base/process_end.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <thread>

#include "base/thread.h"

namespace {

std::atomic<long> gLongestWaitMilliseconds{0};
/// Whether waits have no limit: where it is not what is looked at, no thread that stands still for
/// a moment may let it run out.
std::atomic<bool> gWaitsWithoutLimit{false};

}  // namespace

extern "C" {

int __real_pthread_cond_clockwait(pthread_cond_t *condition, pthread_mutex_t *mutex,
                                  clockid_t clock, const timespec *until);
int __wrap_pthread_cond_clockwait(pthread_cond_t *condition, pthread_mutex_t *mutex,
                                  clockid_t clock, const timespec *until);

int __wrap_pthread_cond_clockwait(pthread_cond_t *condition, pthread_mutex_t *mutex,
                                  clockid_t clock, const timespec *until) {
    timespec now{};
    clock_gettime(clock, &now);
    const long milliseconds = static_cast<long>(until->tv_sec - now.tv_sec) * 1000 +
                              (until->tv_nsec - now.tv_nsec) / 1000000;
    gLongestWaitMilliseconds = std::max(gLongestWaitMilliseconds.load(), milliseconds);
    constexpr std::time_t kWithoutLimit = 3600;
    timespec later = *until;
    later.tv_sec += gWaitsWithoutLimit ? kWithoutLimit : 0;
    return __real_pthread_cond_clockwait(condition, mutex, clock, &later);
}
}

namespace corvenna::test {
namespace {

// What a process does at its end is looked at from a handler that is registered first, and runs
// last.

std::atomic<bool> gThreadEnds{false};
std::atomic<bool> gThreadGone{false};
std::atomic<bool> gStepBegun{false};

void *WorkAndEnd(void *) {
    const DownloadSteps steps;
    return nullptr;
}

void *WorkForEver(void *) {
    const DownloadSteps steps;
    gStepBegun = true;
    for (;;) {
        pause();
    }
}

void Await(const std::atomic<bool> &condition) {
    while (!condition) {
        std::this_thread::yield();
    }
}

/// A library's clean-up for a thread, which the end of the process overtakes.
void EndSlowly(void *) {
    gThreadEnds = true;
    while (!IsProcessEnding()) {
        std::this_thread::yield();
    }
    gThreadGone = true;
}

void *WorkAndEndSlowly(void *key) {
    EXPECT_EQ(pthread_setspecific(*static_cast<pthread_key_t *>(key), key), 0);
    return WorkAndEnd(nullptr);
}

/// Starts the body as a download thread is started, from a process that looks at its end.
void StartGuarded(void (*atEnd)(), void *(*body)(void *), void *argument = nullptr) {
    std::atexit(atEnd);
    GuardProcessEnd();
    ASSERT_TRUE(StartDetachedThread(body, argument));
}

TEST(ProcessEnd, WaitsUntilLibrariesHaveCleanedUpForTheThread) {
    EXPECT_EXIT(
        {
            gWaitsWithoutLimit = true;
            static pthread_key_t key;
            pthread_key_create(&key, EndSlowly);
            StartGuarded([] { _exit(gThreadGone ? 0 : 1); }, WorkAndEndSlowly, &key);
            Await(gThreadEnds);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ProcessEnd, OnAThreadThatDownloadedWaitsForAnotherOne) {
    EXPECT_EXIT(
        {
            gWaitsWithoutLimit = true;
            static pthread_key_t key;
            pthread_key_create(&key, EndSlowly);
            std::atexit([] { _exit(gThreadGone ? 0 : 1); });
            GuardProcessEnd();
            WorkAndEnd(nullptr);
            StartDetachedThread(WorkAndEndSlowly, &key);
            Await(gThreadEnds);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ProcessEnd, IsNotThatOfAChildWhichIsForkedMeanwhile) {
    EXPECT_EXIT(
        {
            std::atexit([] {
                const pid_t child = fork();
                if (child == 0) {
                    _exit(IsProcessEnding() ? 1 : 0);
                }
                int status = -1;
                waitpid(child, &status, 0);
                _exit(WEXITSTATUS(status));
            });
            GuardProcessEnd();
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

pthread_key_t gLateKey;
std::atomic<bool> gFirstRoundDone{false};

/// A clean-up that leaves its work to the second round of a thread's destructors.
void EndSlowlyInTheSecondRound(void *key) {
    if (gFirstRoundDone.exchange(true)) {
        EndSlowly(key);
    } else {
        pthread_setspecific(gLateKey, key);
    }
}

TEST(ProcessEnd, WaitsForCleanUpsOfTheSecondRound) {
    EXPECT_EXIT(
        {
            gWaitsWithoutLimit = true;
            std::atexit([] { _exit(gThreadGone ? 0 : 1); });
            GuardProcessEnd();
            pthread_key_create(&gLateKey, EndSlowlyInTheSecondRound);  // its turn is after ours
            StartDetachedThread(WorkAndEndSlowly, &gLateKey);
            Await(gThreadEnds);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ProcessEnd, WaitsASecondForAStepAndNoLonger) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EXIT(
        {
            StartGuarded(
                [] { _exit(IsProcessEnding() && gLongestWaitMilliseconds <= 1000 ? 0 : 1); },
                WorkForEver);
            Await(gStepBegun);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(ProcessEnd, DoesNotWaitForItself) {
    // A thread of the pool that ran a download may be the one that exits.
    EXPECT_EXIT(
        {
            std::atexit([] { _exit(gLongestWaitMilliseconds == 0 ? 0 : 1); });
            GuardProcessEnd();
            WorkAndEnd(nullptr);
            WorkAndEnd(nullptr);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ProcessEnd, WithoutAThreadKeyWaitsForTheWorkAlone) {
    EXPECT_EXIT(
        {
            std::atexit([] { _exit(gLongestWaitMilliseconds == 0 ? 0 : 1); });
            pthread_key_t key = 0;
            while (pthread_key_create(&key, nullptr) == 0) {
            }
            GuardProcessEnd();
            WorkAndEnd(nullptr);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ProcessEnd, OfAForkedProcessNeitherWaitsNorStopsAnything) {
    EXPECT_EXIT(
        {
            StartGuarded([] { _exit(IsProcessEnding() ? 1 : 0); }, WorkForEver);
            Await(gStepBegun);
            const pid_t child = fork();
            if (child == 0) {
                std::exit(2);
            }
            int status = -1;
            waitpid(child, &status, 0);
            _exit(status == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

std::atomic<bool> gExchangeBegun{false};
std::atomic<bool> gExchangeEnded{false};

/// An exchange that ends while the process does.
void *ExchangeSlowly(void *) {
    {
        const ExchangeUnderWay exchange;
        gExchangeBegun = true;
        while (!IsProcessEnding()) {
            std::this_thread::yield();
        }
        gExchangeEnded = true;
    }
    for (;;) {
        pause();
    }
}

TEST(ProcessEnd, WaitsForAnExchange) {
    EXPECT_EXIT(
        {
            gWaitsWithoutLimit = true;
            std::atexit([] { _exit(gExchangeEnded ? 0 : 1); });
            StartDetachedThread(ExchangeSlowly, nullptr);
            Await(gExchangeBegun);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

void *ExchangeForEver(void *) {
    const ExchangeUnderWay exchange;
    gExchangeBegun = true;
    for (;;) {
        pause();
    }
}

TEST(ProcessEnd, WaitsASecondForAnExchangeAndNoLonger) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EXIT(
        {
            std::atexit([] { _exit(gLongestWaitMilliseconds <= 1000 ? 0 : 1); });
            StartDetachedThread(ExchangeForEver, nullptr);
            Await(gExchangeBegun);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(ProcessEnd, OfAForkedProcessWaitsForNoExchangeOfItsParent) {
    EXPECT_EXIT(
        {
            std::atexit([] { _exit(IsProcessEnding() && gLongestWaitMilliseconds == 0 ? 0 : 1); });
            StartDetachedThread(ExchangeForEver, nullptr);
            Await(gExchangeBegun);
            const pid_t child = fork();
            if (child == 0) {
                { const ExchangeUnderWay own; }
                std::exit(2);
            }
            int status = -1;
            waitpid(child, &status, 0);
            _exit(status == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

/// On a thread that does not end the process.
bool IsAllowedElsewhere() {
    bool allowed = false;
    std::thread([&] { allowed = ExchangeUnderWay::IsAllowed(); }).join();
    return allowed;
}

TEST(ProcessEnd, NoExchangeBeginsAfterItButOnItsOwnThread) {
    EXPECT_EXIT(
        {
            std::atexit(
                [] { _exit(ExchangeUnderWay::IsAllowed() && !IsAllowedElsewhere() ? 0 : 1); });
            { const ExchangeUnderWay exchange; }
            std::exit(IsAllowedElsewhere() ? 2 : 3);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ProcessEnd, NoStepBeginsAfterIt) {
    static std::atomic<bool> begun{false};
    EXPECT_EXIT(
        {
            StartGuarded([] { _exit(begun ? 1 : 0); },
                         [](void *) -> void * {
                             DownloadSteps steps;
                             gStepBegun = true;
                             while (!IsProcessEnding()) {
                                 std::this_thread::yield();
                             }
                             steps.Next();
                             begun = true;
                             return nullptr;
                         });
            Await(gStepBegun);
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace corvenna::test
