#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "tools/gateway/spool.h"

namespace corvenna::gateway {

/// Ends the waits of several threads at once.
class StopSignal {
public:
    void Stop();
    bool IsStopped() const;
    /// @return false as soon as Stop was called, true when the time has come.
    bool WaitUntil(Clock::time_point time) const;

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable condition_;
    bool stopped_ = false;
};

/// The next moment of a fixed rhythm: `previous` plus the interval, or, when that is over already,
/// the first later moment of the same rhythm. What was missed is not made up for.
Clock::time_point NextDue(Clock::time_point previous, Clock::duration interval,
                          Clock::time_point now);

/// Calls a task in a fixed rhythm on a thread of its own until the signal stops it. The task may
/// take longer than the interval, and must not throw.
class Periodic {
public:
    Periodic(const StopSignal &stop, Clock::time_point first, Clock::duration interval,
             std::function<void()> task);
    /// Waits for the task that is running.
    ~Periodic();
    Periodic(const Periodic &) = delete;
    Periodic &operator=(const Periodic &) = delete;

private:
    std::thread thread_;
};

}  // namespace corvenna::gateway
