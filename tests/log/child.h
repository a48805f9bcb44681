#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace corvenna::test {

/// Runs a function in a process of its own that then ends in order, as a host does.
/// @return its exit code, -1 when a signal ended it.
template <class Function>
int RunAsProcess(Function function) {
    const pid_t child = fork();
    if (child == 0) {
        function();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace corvenna::test
