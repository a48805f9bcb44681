#include "tools/cloud/access/failure_limit.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kMostFailures = 20;
constexpr std::chrono::minutes kWindow{1};
constexpr std::size_t kMostAddresses = 4096;

}  // namespace

bool FailureLimit::IsReached(const std::string &address) const {
    const std::lock_guard lock(mutex_);
    const auto found = counts_.find(address);
    return found != counts_.end() && found->second.failures >= kMostFailures &&
           Clock::now() - found->second.since < kWindow;
}

void FailureLimit::Note(const std::string &address) {
    const std::lock_guard lock(mutex_);
    if (counts_.size() >= kMostAddresses && counts_.count(address) == 0) {
        counts_.clear();
    }
    Count &count = counts_[address];
    if (Clock::now() - count.since >= kWindow) {
        count = {Clock::now(), 0};
    }
    ++count.failures;
}

}  // namespace corvenna::cloud
