// A process in which the system had no memory for handlers of forks when the library was loaded.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <new>

#include "base/forks.h"
#include "base/xml.h"
#include "tests/support/fork_handlers.h"

namespace corvenna::test {
namespace {

int gRenewed = 0;
void Renew() {
    ++gRenewed;
}

/// @return how often Renew is called in a child of this moment.
int RenewedInAChild() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(gRenewed);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(UnheardForks, AreToldToWhoAsksForThem) {
    EXPECT_FALSE(CallInForkedChildren(Renew));
    EXPECT_EQ(0, RenewedInAChild());
}

TEST(UnheardForks, AreHeardOfFromTheFirstUseOnThatFindsMemory) {
    AllowForkHandlers();
    EXPECT_TRUE(CallInForkedChildren(Renew));
    EXPECT_EQ(1, RenewedInAChild());
}

TEST(UnheardForks, LetNoGuardBeTakenUntilThereIsMemory) {
    EXPECT_THROW(XmlGuard(), std::bad_alloc);
    AllowForkHandlers();
    EXPECT_NO_THROW(XmlGuard());
    EXPECT_NO_THROW(XmlGuard()) << "once is enough";
}

}  // namespace
}  // namespace corvenna::test
