#pragma once

#include <ctime>

namespace corvenna {

/// A moment on the clock that nobody sets, up to which something may take.
class Deadline {
public:
    explicit Deadline(std::time_t secondsFromNow) : at_(Now()) { at_.tv_sec += secondsFromNow; }

    const timespec &At() const { return at_; }

    /// Microseconds that are left, none when it has passed.
    long long Left() const {
        const timespec now = Now();
        const long long left = (static_cast<long long>(at_.tv_sec) - now.tv_sec) * 1000000 +
                               (static_cast<long long>(at_.tv_nsec) - now.tv_nsec) / 1000;
        return left > 0 ? left : 0;
    }

private:
    static timespec Now() {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);  // cannot fail: the clock is always there
        return now;
    }

    timespec at_;
};

}  // namespace corvenna
