#pragma once

#include <cstdint>

namespace corvenna {

constexpr std::int16_t kDefaultRealDataInterval = 300;

/// Intervals below a minute become the default. On purpose: compared as unsigned, so that -1 passes
/// (as 65535) and is kept as "never".
inline std::int16_t RealDataInterval(std::uint16_t value) {
    return value > 59 ? static_cast<std::int16_t>(value) : kDefaultRealDataInterval;
}

/// Positive intervals below a least one are raised to it; zero and negative ones are kept.
inline std::int16_t RaisedTo(std::int16_t least, std::int16_t value) {
    return 0 < value && value < least ? least : value;
}

}  // namespace corvenna
