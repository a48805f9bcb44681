#include "tools/gateway/production_queue.h"

namespace corvenna::gateway {

void ProductionQueue::Add(std::time_t sample) {
    const std::lock_guard lock(mutex_);
    samples_.insert(sample);
    condition_.notify_all();
}

std::optional<std::time_t> ProductionQueue::First() const {
    const std::lock_guard lock(mutex_);
    if (samples_.empty() || stopped_) {
        return std::nullopt;
    }
    return newestFirst_ ? *samples_.rbegin() : *samples_.begin();
}

void ProductionQueue::Remove(std::time_t sample) {
    const std::lock_guard lock(mutex_);
    samples_.erase(sample);
}

std::size_t ProductionQueue::Size() const {
    const std::lock_guard lock(mutex_);
    return samples_.size();
}

bool ProductionQueue::Wait() {
    std::unique_lock lock(mutex_);
    condition_.wait(lock, [this] { return stopped_ || !samples_.empty(); });
    return !stopped_;
}

void ProductionQueue::Stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    condition_.notify_all();
}

}  // namespace corvenna::gateway
