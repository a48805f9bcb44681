#pragma once

#include <cstddef>

namespace corvenna::cloud {

/// Lets this process open that many files and sockets, or as many as the system allows it.
/// @return how many it may open now.
std::size_t RaiseDescriptorLimit(std::size_t wanted);

}  // namespace corvenna::cloud
