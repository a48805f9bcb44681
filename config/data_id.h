#pragma once

#include <cstdint>

namespace corvenna {

/// The key by which values and alarms meet the configured points. From the top: channel, slave
/// address, four high bits of the point number, type, eight low bits of the point number. Bits
/// above the twelfth of a point number are dropped.
constexpr std::uint32_t DataId(std::uint32_t channel, std::uint32_t slave, std::uint32_t type,
                               std::uint32_t number) {
    return (channel << 24) + (slave << 16) + (number & 0xFF) +
           ((type << 8) | ((number & 0xF00) << 4));
}
static_assert(DataId(1, 3, 1, 0x123) == 0x01031123);

}  // namespace corvenna
