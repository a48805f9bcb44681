#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>

namespace corvenna::cloud {

/// How long a server is waited for: every exchange with it has a limit, and from the end of the
/// program on all of them have one together. Any thread may call.
class Patience {
public:
    using Clock = std::chrono::steady_clock;

    explicit Patience(Clock::duration limit) : limit_(limit) {}

    /// When an exchange that began then is given up; it may become sooner meanwhile.
    Clock::time_point Until(Clock::time_point began) const {
        return std::min(began + limit_, end_.load());
    }
    void EndBy(Clock::time_point end) { end_ = end; }
    bool IsOver() const { return Clock::now() >= end_.load(); }

private:
    const Clock::duration limit_;
    std::atomic<Clock::time_point> end_{Clock::time_point::max()};
};

}  // namespace corvenna::cloud
