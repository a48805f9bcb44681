#include "base/forks.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "tests/support/fork_wait.h"

namespace corvenna::test {
namespace {

constexpr unsigned kPatienceSeconds = 300;

/// The exit code of a child of this moment, -1 when a signal ends it.
template <class Function>
int Forked(Function function) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceSeconds);
        _exit(function());
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(FirstUse, IsAwaitedByAFork) {
    ForkWait wait;
    std::promise<void> begun;
    std::atomic<bool> made{false};
    std::thread maker([&] {
        {
            const FirstUse alone;
            begun.set_value();
            wait.Await();
            made = true;
        }
        wait.End();
    });
    begun.get_future().wait();
    EXPECT_EQ(1, Forked([&] {
                  const FirstUse alone;
                  return made ? 1 : 0;
              }));
    maker.join();
    const FirstUse alone;
}

TEST(FirstUse, OfTheForkingThreadItselfIsLeftBehindAfterASecond) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer takes the child's lock for its parent's";
#endif
    const FirstUse unfinished;
    EXPECT_EQ(1, Forked([] {
                  const FirstUse alone;
                  return 1;
              }));
}

TEST(FirstUse, MayLeadToAnother) {
    std::promise<void> begun;
    std::atomic<bool> made{false};
    std::thread maker([&] {
        const FirstUse outer;
        { const FirstUse inner; }
        begun.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // what takes its time
        made = true;
    });
    begun.get_future().wait();
    {
        const FirstUse alone;
        EXPECT_TRUE(made);
    }
    maker.join();
}

int gRenewed = 0;

TEST(ForkedChild, HasWhatWasAskedForCalledAtEachFork) {
    ASSERT_TRUE(CallInForkedChildren([] { ++gRenewed; }));
    EXPECT_EQ(1, Forked([] { return gRenewed; }));
    EXPECT_EQ(1, Forked([] { return gRenewed; }));
    EXPECT_EQ(2, Forked([] { return Forked([] { return gRenewed; }); }));
    EXPECT_EQ(0, gRenewed);
}

int gCalled = 0;

TEST(ForkedChild, HasNoMoreCalledThanThereIsRoomFor) {
    int room = 0;
    while (CallInForkedChildren([] { ++gCalled; })) {
        ++room;
    }
    EXPECT_LE(4, room) << "for sinks, recalls and downloads";
    EXPECT_LE(room, 8);
    EXPECT_FALSE(CallInForkedChildren([] { ++gCalled; }));
    EXPECT_EQ(room, Forked([] { return gCalled; }));
}

}  // namespace
}  // namespace corvenna::test
