#pragma once

#include <cstddef>

namespace corvenna::bench {

/// What happened on the heap between StartHeapCount and StopHeapCount, on all threads.
struct HeapUse {
    std::size_t allocations;   ///< calls of malloc, calloc, realloc and the aligned ones
    std::size_t peakBytes;     ///< most bytes in use at once, beyond those in use at the start
    std::ptrdiff_t keptBytes;  ///< bytes in use at the end, beyond those in use at the start
};

void StartHeapCount();
HeapUse StopHeapCount();

}  // namespace corvenna::bench
