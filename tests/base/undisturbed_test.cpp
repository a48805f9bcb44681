#include "base/undisturbed.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <future>

#include "base/file_descriptor.h"
#include "base/single_instance.h"
#include "base/thread.h"

namespace corvenna::test {
namespace {

bool IsPending(int signal) {
    sigset_t pending;
    sigemptyset(&pending);
    return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

bool IsBlocked(int signal) {
    sigset_t blocked;
    sigemptyset(&blocked);
    return pthread_sigmask(SIG_BLOCK, nullptr, &blocked) == 0 && sigismember(&blocked, signal) == 1;
}

void Block(int signal) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, signal);
    EXPECT_EQ(pthread_sigmask(SIG_BLOCK, &signals, nullptr), 0);
}

/// With both signals as a host has them that has not thought of them: either ends it.
class UndisturbedTest : public testing::Test {
protected:
    UndisturbedTest() {
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            std::signal(signal, SIG_DFL);
        }
    }

    /// @return the error, 0 for none.
    static int WriteWhereNobodyReads() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe(ends), 0);
        FileDescriptor reader(ends[0]);
        const FileDescriptor writer(ends[1]);
        reader.Close();
        return write(writer.Get(), "x", 1) == -1 ? errno : 0;
    }

    static int WriteBeyondTheLimit() {
        rlimit before{};
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit none{0, before.rlim_max};
        char name[] = "/tmp/limited-XXXXXX";
        const FileDescriptor file(mkstemp(name));
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
        const int error = write(file.Get(), "x", 1) == -1 ? errno : 0;
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
        return error;
    }
};

TEST_F(UndisturbedTest, AWriteWhereNobodyReadsFailsWithoutASignal) {
    {
        const Undisturbed whole;
        EXPECT_EQ(WriteWhereNobodyReads(), EPIPE);
    }
    EXPECT_FALSE(IsPending(SIGPIPE));
    EXPECT_FALSE(IsBlocked(SIGPIPE));
}

TEST_F(UndisturbedTest, AWriteBeyondTheLimitOfFilesFailsWithoutASignal) {
    {
        const Undisturbed whole;
        EXPECT_EQ(WriteBeyondTheLimit(), EFBIG);
    }
    EXPECT_FALSE(IsPending(SIGXFSZ));
    EXPECT_FALSE(IsBlocked(SIGXFSZ));
}

TEST_F(UndisturbedTest, BothSignalsInOneMayBeKeptAway) {
    const Undisturbed whole;
    EXPECT_EQ(WriteBeyondTheLimit(), EFBIG);
    EXPECT_EQ(WriteWhereNobodyReads(), EPIPE);
}

TEST_F(UndisturbedTest, WhatAHostHasBlockedItselfStaysItsOwn) {
    Block(SIGPIPE);
    {
        const Undisturbed whole;
        EXPECT_EQ(WriteWhereNobodyReads(), EPIPE);
        EXPECT_EQ(WriteBeyondTheLimit(), EFBIG);
    }
    EXPECT_TRUE(IsPending(SIGPIPE));
    EXPECT_TRUE(IsBlocked(SIGPIPE));
    EXPECT_FALSE(IsBlocked(SIGXFSZ));
}

TEST_F(UndisturbedTest, TheEndOfOneInAnotherEndsNothing) {
    {
        const Undisturbed whole;
        { const Undisturbed part; }
        EXPECT_EQ(WriteWhereNobodyReads(), EPIPE);
    }
    EXPECT_FALSE(IsPending(SIGPIPE));
}

void *TellWhetherKept(void *promise) {
    const bool kept = IsBlocked(SIGPIPE) && IsBlocked(SIGXFSZ);
    static_cast<std::promise<bool> *>(promise)->set_value(kept);
    return nullptr;
}

TEST_F(UndisturbedTest, ThreadsOfOursGetNoSignalsOfWrites) {
    std::promise<bool> kept;
    ASSERT_TRUE(StartDetachedThread(TellWhetherKept, &kept));
    EXPECT_TRUE(kept.get_future().get());
    EXPECT_FALSE(IsBlocked(SIGPIPE));
}

// ---- A thread that is cancelled ----

std::atomic<int> gMade{0};

struct MadeByACancelledThread {
    MadeByACancelledThread() {
        pthread_testcancel();
        ++gMade;
    }
};

void *MakeCancelled(void *) {
    pthread_cancel(pthread_self());
    SingleInstance<MadeByACancelledThread>();
    pthread_testcancel();
    return nullptr;
}

TEST(FirstUse, OfACancelledThreadIsMadeBeforeItEnds) {
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, MakeCancelled, nullptr), 0);
    void *end = nullptr;
    ASSERT_EQ(pthread_join(thread, &end), 0);
    EXPECT_EQ(end, PTHREAD_CANCELED);
    EXPECT_EQ(gMade, 1);
}

}  // namespace
}  // namespace corvenna::test
