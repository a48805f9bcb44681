#pragma once

#include <atomic>
#include <optional>
#include <vector>

#include "tools/gateway/matching.h"
#include "tools/gateway/periodic.h"
#include "tools/gateway/services.h"
#include "tools/gateway/thresholds.h"

namespace corvenna::gateway {

/// Takes samples of a source into the history, together with the alarms that they raise. One thread
/// at a time.
class Sampler {
public:
    /// @param configured the points of which every sample must have a value. Both are borrowed.
    Sampler(MatchedSource &source, const std::vector<Threshold> &thresholds,
            const MAP_CHANNEL_POINT &configured, History &history, Report &report);

    /// Takes a sample at the first second that has none. @return its time; nothing when it was
    /// stopped before.
    std::optional<std::time_t> TakeSample(const StopSignal &stop);

    /// How many limits are crossed; any thread may ask.
    std::size_t ActiveAlarms() const { return activeAlarms_; }

private:
    void StoreSample(std::time_t now);

    MatchedSource &source_;
    const MAP_CHANNEL_POINT &configured_;
    History &history_;
    Report &report_;
    Thresholds thresholds_;
    std::atomic<std::size_t> activeAlarms_{0};
};

}  // namespace corvenna::gateway
