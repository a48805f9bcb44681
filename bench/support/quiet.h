#pragma once

#include <cstdint>

namespace corvenna::bench {

/// Microseconds that a quiet program (see bench/CMakeLists.txt) would have slept since the last
/// call.
std::uint64_t TakePausedMicroseconds();

}  // namespace corvenna::bench
