#include "bench/support/heap.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>

// Replaces the C library's allocator with itself plus a count: every library of the process
// allocates through these.
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void *block);
}

namespace {

std::atomic<std::size_t> gAllocations{0};
std::atomic<std::ptrdiff_t> gLive{0};
std::atomic<std::ptrdiff_t> gPeak{0};

void Count(std::ptrdiff_t bytes) {
    const std::ptrdiff_t live = gLive.fetch_add(bytes, std::memory_order_relaxed) + bytes;
    if (live > gPeak.load(std::memory_order_relaxed)) {
        gPeak.store(live, std::memory_order_relaxed);
    }
}

void *Taken(void *block) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    Count(static_cast<std::ptrdiff_t>(malloc_usable_size(block)));
    return block;
}

}  // namespace

extern "C" {

void *malloc(std::size_t size) {
    return Taken(__libc_malloc(size));
}

void *calloc(std::size_t count, std::size_t size) {
    return Taken(__libc_calloc(count, size));
}

void *realloc(void *block, std::size_t size) {
    Count(-static_cast<std::ptrdiff_t>(malloc_usable_size(block)));
    return Taken(__libc_realloc(block, size));
}

void *aligned_alloc(std::size_t alignment, std::size_t size) {
    return Taken(__libc_memalign(alignment, size));
}

int posix_memalign(void **block, std::size_t alignment, std::size_t size) {
    *block = Taken(__libc_memalign(alignment, size));
    return *block == nullptr ? ENOMEM : 0;
}

void free(void *block) {
    Count(-static_cast<std::ptrdiff_t>(malloc_usable_size(block)));
    __libc_free(block);
}
}

namespace corvenna::bench {

void StartHeapCount() {
    gAllocations = 0;
    gLive = 0;
    gPeak = 0;
}

HeapUse StopHeapCount() {
    return {gAllocations, static_cast<std::size_t>(gPeak.load()), gLive};
}

}  // namespace corvenna::bench
