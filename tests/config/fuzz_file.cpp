#include "tests/config/fuzz_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace corvenna::test {

FuzzFile::FuzzFile(const std::uint8_t *data, std::size_t size)
    : descriptor_(memfd_create("input", MFD_CLOEXEC)),
      path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    if (descriptor_ < 0 || write(descriptor_, data, size) != static_cast<ssize_t>(size)) {
        std::abort();
    }
}

FuzzFile::~FuzzFile() {
    close(descriptor_);
}

}  // namespace corvenna::test
