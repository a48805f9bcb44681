#pragma once

#include <cstddef>

namespace corvenna::test {

/// How many files could not be removed so far, because it was that call's turn to fail. For the
/// calling thread.
std::size_t RemovalsFailed();

}  // namespace corvenna::test
