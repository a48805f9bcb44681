#pragma once

#include <cstddef>
#include <string>

#include "tools/gateway/catalogue.h"

namespace corvenna::gateway {

/// The bytes that the plug-in has for a request body.
constexpr std::size_t kBodyBytes = 20480;

/// The bytes of the list of devices that the plug-in will send when it registers. A list that does
/// not fit into a body is cut, and no server can read it.
std::size_t DeviceListBytes(const Catalogue &devices, const std::string &format, bool compress);

/// The most bytes of such a list.
constexpr std::size_t MostDeviceListBytes(bool compress) {
    return compress ? kBodyBytes : kBodyBytes - 2;
}

}  // namespace corvenna::gateway
