#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace corvenna::cloud {

/// Counts wrong passwords by address: guessing many costs time, and checking them costs this
/// machine's. Any thread may call.
class FailureLimit {
public:
    /// Whether an address has failed too often within the last minute.
    bool IsReached(const std::string &address) const;
    void Note(const std::string &address);

private:
    using Clock = std::chrono::steady_clock;
    struct Count {
        Clock::time_point since;
        std::size_t failures = 0;
    };

    mutable std::mutex mutex_;
    std::map<std::string, Count> counts_;
};

}  // namespace corvenna::cloud
