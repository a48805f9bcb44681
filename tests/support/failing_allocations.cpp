#include "tests/support/failing_allocations.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

// Stands before the C library's allocator: every library of the process allocates through these.
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void *block);
}

namespace {

std::atomic<std::ptrdiff_t> gLiveBlocks{0};

// Of the thread whose allocations fail; in the program itself, so reading them allocates nothing.
thread_local std::size_t tUntilFailure = 0;  // 0: none fails
thread_local bool tAllLater = false;
thread_local bool tHappened = false;
thread_local const char *tLastFailed = "";
void (*gHear)() = nullptr;

void *OutOfMemory() {
    errno = ENOMEM;
    return nullptr;
}

void *Taken(void *block) {
    if (block != nullptr) {
        gLiveBlocks.fetch_add(1, std::memory_order_relaxed);
    }
    return block;
}

}  // namespace

using corvenna::test::CallFails;

extern "C" {

void *malloc(std::size_t size) {
    return CallFails("malloc") ? OutOfMemory() : Taken(__libc_malloc(size));
}

void *calloc(std::size_t count, std::size_t size) {
    return CallFails("calloc") ? OutOfMemory() : Taken(__libc_calloc(count, size));
}

void *realloc(void *block, std::size_t size) {
    if (block == nullptr) {
        return malloc(size);
    }
    if (size == 0) {
        free(block);
        return nullptr;
    }
    return CallFails("realloc") ? OutOfMemory() : __libc_realloc(block, size);
}

void *memalign(std::size_t alignment, std::size_t size) {
    return CallFails("memalign") ? OutOfMemory() : Taken(__libc_memalign(alignment, size));
}

void *aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void **block, std::size_t alignment, std::size_t size) {
    void *const taken = memalign(alignment, size);
    if (taken == nullptr) {
        return ENOMEM;
    }
    *block = taken;
    return 0;
}

void free(void *block) {
    if (block != nullptr) {
        gLiveBlocks.fetch_sub(1, std::memory_order_relaxed);
    }
    __libc_free(block);
}
}

namespace corvenna::test {

bool CallFails(const char *name) {
    if (tUntilFailure == 0) {
        return false;
    }
    if (tUntilFailure > 1) {
        --tUntilFailure;
        return false;
    }
    tUntilFailure = tAllLater ? 1 : 0;
    tHappened = true;
    tLastFailed = name;
    if (gHear != nullptr) {
        gHear();
    }
    return true;
}

void WhenACallFails(void (*hear)()) {
    gHear = hear;
}

const char *LastFailedCall() {
    return tLastFailed;
}

FailingAllocations::FailingAllocations(std::size_t number, Failing failing) {
    tHappened = false;
    tLastFailed = "";
    tAllLater = failing == Failing::kFromThereOn;
    tUntilFailure = number;
}

FailingAllocations::~FailingAllocations() {
    tUntilFailure = 0;
}

bool FailingAllocations::Happened() const {
    return tHappened;
}

std::ptrdiff_t LiveBlocks() {
    return gLiveBlocks;
}

}  // namespace corvenna::test
