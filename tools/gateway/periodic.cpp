#include "tools/gateway/periodic.h"

namespace corvenna::gateway {

void StopSignal::Stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    condition_.notify_all();
}

bool StopSignal::IsStopped() const {
    const std::lock_guard lock(mutex_);
    return stopped_;
}

bool StopSignal::WaitUntil(Clock::time_point time) const {
    std::unique_lock lock(mutex_);
    return !condition_.wait_until(lock, time, [this] { return stopped_; });
}

Clock::time_point NextDue(Clock::time_point previous, Clock::duration interval,
                          Clock::time_point now) {
    const Clock::time_point next = previous + interval;
    if (next > now) {
        return next;
    }
    const auto missed = (now - next) / interval + 1;
    return next + missed * interval;
}

Periodic::Periodic(const StopSignal &stop, Clock::time_point first, Clock::duration interval,
                   std::function<void()> task)
    : thread_([&stop, first, interval, task = std::move(task)] {
          for (Clock::time_point due = first; stop.WaitUntil(due);
               due = NextDue(due, interval, Clock::now())) {
              task();
          }
      }) {}

Periodic::~Periodic() {
    thread_.join();
}

}  // namespace corvenna::gateway
