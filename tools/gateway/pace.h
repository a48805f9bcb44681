#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/gateway/history.h"

namespace corvenna::gateway {

/// How long the plug-in pauses while it produces a sample. It does so to leave the processor to
/// others: 100 ms a device and, unless a forwarding table is sent, 500 ms a channel. While
/// it loads its configuration it pauses 100 ms a device too.
class Pace {
public:
    Pace(std::size_t devices, std::size_t channels)
        : devices_(static_cast<std::int64_t>(devices)),
          channels_(static_cast<std::int64_t>(channels)) {}

    std::chrono::milliseconds OfASample() const;

    /// Says with the numbers that samples are taken faster than they are produced; empty when they
    /// are not. @param interval between two samples.
    std::string Complaint(Clock::duration interval) const;

    /// Says how long the plug-in pauses while it loads that many devices; empty when that is short.
    static std::string OfLoading(std::size_t devices);

private:
    std::int64_t devices_;
    std::int64_t channels_;
};

}  // namespace corvenna::gateway
