#pragma once

#include <cstddef>
#include <string>

#include "tools/gateway/catalogue.h"

namespace corvenna::gateway {

/// The bytes of the list of devices that the plug-in will send when it registers, see
/// tools/check/sizes.h.
std::size_t DeviceListBytes(const Catalogue &devices, const std::string &format, bool compress);

}  // namespace corvenna::gateway
