#pragma once

#include <ctime>
#include <future>

namespace corvenna::test {

/// Sets what time() tells, for as long as it lives. Needs a test program linked with WRAP time.
class ClockAt {
public:
    explicit ClockAt(std::time_t now);
    ~ClockAt();
    ClockAt(const ClockAt &) = delete;
    ClockAt &operator=(const ClockAt &) = delete;

    void Set(std::time_t now);
};

/// Makes that many seconds pass on the clock that nobody sets. Needs a test program linked with
/// WRAP clock_gettime.
void LetPass(std::time_t seconds);

/// As long as it lives, no time passes on that clock but what LetPass() lets pass: where a limit is
/// counted down, no thread that stands still for a moment may take from it.
class TimeStandsStill {
public:
    TimeStandsStill();
    ~TimeStandsStill();
    TimeStandsStill(const TimeStandsStill &) = delete;
    TimeStandsStill &operator=(const TimeStandsStill &) = delete;
};

/// A future that is ready once any thread has asked for the time. One at a time.
std::future<void> NextTimeAsked();

}  // namespace corvenna::test
