#include "tests/support/fuzz_memory.h"

#include <libxml/xmlmemory.h>
#include <sanitizer/lsan_interface.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

thread_local std::size_t tLeft = 0;

bool Fails() {
    return tLeft > 0 && --tLeft == 0;
}

void *Allocate(std::size_t size) {
    return Fails() ? nullptr : std::malloc(size);
}

void *Reallocate(void *block, std::size_t size) {
    return Fails() ? nullptr : std::realloc(block, size);
}

char *Duplicate(const char *text) {
    return Fails() ? nullptr : strdup(text);
}

}  // namespace

void *operator new(std::size_t size) {
    if (void *const block = Allocate(size > 0 ? size : 1)) {
        return block;
    }
    throw std::bad_alloc();
}

void *operator new(std::size_t size, const std::nothrow_t & /*unused*/) noexcept {
    return Allocate(size > 0 ? size : 1);
}

void operator delete(void *block) noexcept {
    std::free(block);
}

void operator delete(void *block, std::size_t /*size*/) noexcept {
    std::free(block);
}

namespace corvenna::test {

FuzzMemory::FuzzMemory(std::size_t number) {
    static const int set = xmlMemSetup(std::free, Allocate, Reallocate, Duplicate);
    tLeft = set == 0 ? number : 0;
    // libxml2 2.9 loses the converter of an encoding that it has just found when memory runs out
    // then. What is lost is looked at by tests that count blocks.
    __lsan_disable();
}

FuzzMemory::~FuzzMemory() {
    tLeft = 0;
    __lsan_enable();
}

}  // namespace corvenna::test
