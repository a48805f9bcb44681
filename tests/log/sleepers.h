#pragma once

#include <cstddef>
#include <vector>

namespace corvenna::test {

/// Holds whoever calls sleep(), which the writer threads do between their rounds, until he is
/// woken. One for a process: a writer is still asleep when it goes. Needs a test program linked
/// with WRAP sleep.
class Sleepers {
public:
    Sleepers();
    ~Sleepers() = default;
    Sleepers(const Sleepers &) = delete;
    Sleepers &operator=(const Sleepers &) = delete;

    /// Waits until that many calls have been made in all. @return for how many seconds, each.
    std::vector<unsigned> WaitFor(std::size_t calls);

    /// Lets one sleeper go on.
    void Wake();

private:
    std::size_t seen_ = 0;
};

}  // namespace corvenna::test
