// Waiting for the shell. The first waits of this program are broken off by a signal.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <vector>

#include "plugin/install_command.h"
#include "tests/support/files.h"

namespace {

struct Wait {
    pid_t child;
    const int *status;
    int options;
};

std::vector<Wait> gWaits;
int gInterruptions = 0;
bool gNoChild = false;

}  // namespace

extern "C" {

pid_t __real_waitpid(pid_t child, int *status, int options);

pid_t __wrap_waitpid(pid_t child, int *status, int options) {
    gWaits.push_back({child, status, options});
    if (gInterruptions > 0) {
        --gInterruptions;
        errno = EINTR;
        return -1;
    }
    const pid_t ended = __real_waitpid(child, status, options);
    if (gNoChild) {
        errno = ECHILD;
        return -1;
    }
    return ended;
}
}

namespace corvenna::test {
namespace {

TEST(Wait, IsForAnyChildAndLooksAtNoStatus) {
    EXPECT_TRUE(RunInShell("true"));
    ASSERT_EQ(gWaits.size(), 1U);
    EXPECT_EQ(gWaits[0].child, -1);
    EXPECT_EQ(gWaits[0].status, nullptr);
    EXPECT_EQ(gWaits[0].options, 0);
}

TEST(Wait, GoesOnAfterASignal) {
    gInterruptions = 3;
    EXPECT_TRUE(RunInShell("echo done > /tmp/out"));
    EXPECT_EQ(gWaits.size(), 4U);
    EXPECT_EQ(ReadFile("/tmp/out"), "done\n");
}

TEST(Wait, EndsWhenTheHostHasTakenTheChild) {
    gNoChild = true;
    EXPECT_TRUE(RunInShell("true"));
    EXPECT_EQ(gWaits.size(), 1U);
}

/// A child of the host, which goes on until the command has run, and a moment longer.
pid_t ChildThatOutlivesTheCommand() {
    const pid_t child = fork();
    if (child == 0) {
        while (access("/tmp/command", F_OK) != 0) {
            usleep(1000);
        }
        usleep(50000);
        _exit(mkdir("/tmp/child", 0755));
    }
    return child;
}

TEST(Wait, IsForEveryChildInAHostThatIgnoresTheirEnds) {
    std::signal(SIGCHLD, SIG_IGN);
    ASSERT_GT(ChildThatOutlivesTheCommand(), 0);
    EXPECT_TRUE(RunInShell("mkdir /tmp/command"));
    EXPECT_EQ(access("/tmp/child", F_OK), 0);
}

}  // namespace
}  // namespace corvenna::test
