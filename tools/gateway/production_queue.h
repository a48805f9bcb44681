#pragma once

#include <condition_variable>
#include <ctime>
#include <mutex>
#include <optional>
#include <set>

namespace corvenna::gateway {

/// Samples that have no file yet. Any thread may add; one takes out.
class ProductionQueue {
public:
    /// @param newestFirst whether the newest goes first while several wait.
    explicit ProductionQueue(bool newestFirst = false) : newestFirst_(newestFirst) {}

    void Add(std::time_t sample);

    /// The one to be produced next, which stays in the queue until it is removed, so that it is not
    /// added again meanwhile. Nothing when the queue is empty or stopped.
    std::optional<std::time_t> First() const;
    void Remove(std::time_t sample);
    std::size_t Size() const;

    /// Waits until there is something to produce. @return false as soon as Stop was called.
    bool Wait();
    void Stop();

private:
    const bool newestFirst_;
    mutable std::mutex mutex_;
    std::condition_variable condition_;
    std::set<std::time_t> samples_;
    bool stopped_ = false;
};

}  // namespace corvenna::gateway
