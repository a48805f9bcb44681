#pragma once

#include <chrono>
#include <csignal>

namespace corvenna {

/// SIGINT and SIGTERM wait until they are asked for, in the thread that makes this and in all that
/// are started later. SIGPIPE is ignored: a connection that breaks must not end the program.
class StopSignals {
public:
    StopSignals();

    /// Waits for one, as long as it takes.
    void Wait() const;
    /// @return whether one came within the time.
    bool Wait(std::chrono::milliseconds time) const;

private:
    const sigset_t set_;
};

/// Both end the program at once again as long as this lives: beside work that takes long, may be
/// interrupted anywhere and asks for no signals. For a program of one thread.
class StopAtOnce {
public:
    StopAtOnce();
    ~StopAtOnce();
    StopAtOnce(const StopAtOnce &) = delete;
    StopAtOnce &operator=(const StopAtOnce &) = delete;

private:
    sigset_t before_{};
};

/// A connection that breaks raises no signal any more.
void IgnoreBrokenConnections();

}  // namespace corvenna
