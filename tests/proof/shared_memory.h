#pragma once

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <new>

namespace corvenna::test {

/// Something that this process and those that it forks from now on see alike; never given back.
template <class T>
T *SharedWithChildren() {
    void *const memory =
        mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        std::perror("mmap");
        std::exit(2);
    }
    return new (memory) T{};
}

}  // namespace corvenna::test
