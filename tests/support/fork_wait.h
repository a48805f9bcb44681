#pragma once

namespace corvenna::test {

/// Stands between a thread that makes something at its first use and one that forks meanwhile, so
/// that neither needs to be quick: the fork's wait is known of, and lasts until it is ended. One at
/// a time. Needs a test program with WRAP nanosleep.
class ForkWait {
public:
    ForkWait();
    ~ForkWait();
    ForkWait(const ForkWait &) = delete;
    ForkWait &operator=(const ForkWait &) = delete;

    /// Blocks until a fork waits.
    void Await();
    /// Lets it look again, and from now on wait by itself.
    void End();
};

}  // namespace corvenna::test
