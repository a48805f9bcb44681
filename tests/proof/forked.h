#pragma once

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "tests/proof/shared_memory.h"

namespace corvenna::test {

/// A process of its own beside this one, killed at the end, and a state that both see. What serves
/// there has no threads, memory or descriptors here, where those are looked at.
template <class State>
class Forked {
public:
    /// @param serve runs in the process; does not return.
    template <class Serve>
    explicit Forked(const Serve &serve) : state_(SharedWithChildren<State>()), process_(fork()) {
        if (process_ == -1) {
            std::perror("fork");
            std::exit(2);
        }
        if (process_ == 0) {
            serve(*state_);
            std::abort();
        }
    }
    ~Forked() { kill(process_, SIGKILL); }
    Forked(const Forked &) = delete;
    Forked &operator=(const Forked &) = delete;

    State *operator->() const { return state_; }

private:
    State *const state_;
    const pid_t process_;
};

}  // namespace corvenna::test
