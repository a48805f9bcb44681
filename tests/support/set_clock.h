#pragma once

#include <ctime>

namespace corvenna::test {

/// Sets the calendar's clock of the process, for our code and for every library, as long as it
/// lives. It begins with that second and goes on by a microsecond at each look, so what a test
/// reads from it does not depend on how fast the machine is. The clock that nobody sets is left
/// alone. Needs a program with set_clock.cpp.
class SetClock {
public:
    explicit SetClock(std::time_t now) { To(now); }
    ~SetClock();
    SetClock(const SetClock &) = delete;
    SetClock &operator=(const SetClock &) = delete;

    /// May be called on any thread.
    static void To(std::time_t now);
};

}  // namespace corvenna::test
