#pragma once

#include <cstddef>

namespace corvenna::check {

struct Plant;

/// The bytes that the plug-in has for a request body.
constexpr std::size_t kBodyBytes = 20480;

/// The bytes of the list of devices that the plug-in will send when it registers. A list that does
/// not fit into a body is cut, and no server can read it.
/// @param plant has settings.
std::size_t DeviceListBytes(const Plant &plant);

/// The most bytes of such a list: of a text, the plug-in copies two less.
constexpr std::size_t MostDeviceListBytes(bool compress) {
    return compress ? kBodyBytes : kBodyBytes - 2;
}

}  // namespace corvenna::check
