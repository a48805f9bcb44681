#pragma once

#include <cstddef>
#include <mutex>
#include <utility>

namespace corvenna::cloud {

/// How many bytes of bodies may be in memory at once, whatever the number of connections. Any
/// thread may call.
class BodyBudget {
public:
    explicit BodyBudget(std::size_t bytes) : left_(bytes) {}

    /// For a body that grows.
    /// @param held what it has taken so far, for the next call.
    /// @return false when that much is not left: then all that it held is there for others at once,
    ///         so that of several bodies that are too many no more are refused than need be.
    bool Grow(std::size_t &held, std::size_t fresh) {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (fresh > left_) {
            left_ += std::exchange(held, 0);
            return false;
        }
        left_ -= fresh;
        held += fresh;
        return true;
    }

    void GiveBack(std::size_t &held) {
        const std::lock_guard<std::mutex> lock(mutex_);
        left_ += std::exchange(held, 0);
    }

private:
    std::mutex mutex_;
    std::size_t left_;
};

}  // namespace corvenna::cloud
