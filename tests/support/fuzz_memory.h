#pragma once

#include <cstddef>

namespace corvenna::test {

/// Makes one allocation of the thread that made it fail, ours or libxml2's, as long as it lives:
/// the one of that number, counted from 1. For fuzz targets, linked with fuzz_memory.cpp.
class FuzzMemory {
public:
    explicit FuzzMemory(std::size_t number);
    ~FuzzMemory();
    FuzzMemory(const FuzzMemory &) = delete;
    FuzzMemory &operator=(const FuzzMemory &) = delete;
};

}  // namespace corvenna::test
