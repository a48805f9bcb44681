#pragma once

#include "tools/gateway/plugin.h"

namespace corvenna::gateway {

/// What the plug-in has loaded, and what follows from it for its host.
struct Loaded {
    Interval_info intervals{};
    Plugin::Settings settings;
    MAP_CHANNEL_POINT points;  ///< of which every sample must have a value
    Catalogue catalogue;       ///< the same with the names of the devices

    /// Whether the settings have the cloud service switched off. Then there is nothing to do.
    bool IsSwitchedOff() const;
};

/// Has the plug-in load its configuration. Throws std::runtime_error when it cannot, or when
/// nothing could ever be sent with it.
Loaded Load(Plugin &plugin);

}  // namespace corvenna::gateway
