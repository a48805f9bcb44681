#pragma once

#include <cstddef>

namespace corvenna::test {

/// Counts the blocks that the queues hold, and refuses them when told to. Needs a test program
/// linked with WRAP mmap munmap.
struct Pages {
    static std::size_t HeldBytes();
    static std::size_t MostHeldBytes();
    static void Refuse(bool refuse);
};

}  // namespace corvenna::test
