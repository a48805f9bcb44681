#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "config/channel_set.h"
#include "config/forward_config.h"
#include "config/sn_set.h"
#include "config/sys_set.h"

namespace corvenna::check {

/// A point of a forwarding table.
struct ForwardedPoint {
    unsigned forwardChannel;
    unsigned channel;
    unsigned address;
    std::string name;
    std::uint32_t id;
};

/// What the plug-in's own loaders make of a configuration.
class Loaded {
public:
    /// Loads it as Init does, one after the other until one fails, but without the pauses and with
    /// the root before every path. What the loaders log is kept here and goes nowhere else.
    explicit Loaded(const std::string &root);

    /// Whether Init would give 0.
    bool Loads() const { return loads_; }
    const std::vector<std::string> &Log() const { return log_; }

    const MAP_DEV_ATTR &Devices() const;
    const MAP_POINTID_ATTR &Points() const;
    const MAP_CHANNEL_POINT &PointsOfDevices() const;
    std::vector<ForwardedPoint> Forwarded() const;
    unsigned SerialNumber() const;

    // These loaders hand out what they have without being const.
    mutable CSysSet system;
    mutable CsnSet identity;

private:
    bool LoadAll();

    CForwardConfig forwarding_;
    mutable CChannelSet channels_;
    bool loads_ = false;
    std::vector<std::string> log_;
};

}  // namespace corvenna::check
