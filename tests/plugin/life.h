#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>

namespace corvenna::test {

/// A process that has been forked and waits for its turn. Forked before any thread is started, so
/// that it may start its own.
class Life {
public:
    explicit Life(const std::function<int()> &body) {
        EXPECT_EQ(pipe(turn_), 0);
        child_ = fork();
        if (child_ == 0) {
            char go = 0;
            close(turn_[1]);
            std::exit(read(turn_[0], &go, 1) == 1 ? body() : 99);
        }
        close(turn_[0]);
    }
    ~Life() { close(turn_[1]); }
    Life(const Life &) = delete;
    Life &operator=(const Life &) = delete;

    /// Lets it run to its end. @return its wait status; 0 is an orderly exit with 0.
    int Run() {
        EXPECT_EQ(write(turn_[1], "g", 1), 1);
        int status = -1;
        EXPECT_EQ(waitpid(child_, &status, 0), child_);
        return status;
    }

private:
    int turn_[2] = {-1, -1};
    pid_t child_ = -1;
};

}  // namespace corvenna::test
