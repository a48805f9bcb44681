#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace corvenna::gateway {

/// What a look at the plug-in's configuration finds (tools/check), a line each, by what it means to
/// a host. The plug-in itself passes over most of it: settings that it cannot read are settings
/// that are off, and a device without a point file is a device without points.
struct ConfigurationFindings {
    std::vector<std::string> unusable;       ///< why it does not load, or has the service off
    std::vector<std::string> withoutPoints;  ///< devices of which no value will be sent
    std::vector<std::string> errors;         ///< why nothing will arrive
    std::vector<std::string> warnings;       ///< what is taken otherwise than it is written
    std::size_t devices = 0;                 ///< that the plug-in will load
};

/// Looks at ROOT/quorvane/Config. Only while no thread of the plug-in works: both use libxml2,
/// which the plug-in cleans up now and then.
ConfigurationFindings CheckConfiguration(const std::string &root);

}  // namespace corvenna::gateway
