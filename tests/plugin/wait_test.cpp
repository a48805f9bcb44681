// Waiting for the shell. The first waits of this program are broken off by a signal.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
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

}  // namespace
}  // namespace corvenna::test
