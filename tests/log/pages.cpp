#include "tests/log/pages.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <mutex>

namespace {

std::mutex gMutex;
std::size_t gHeld = 0;
std::size_t gMost = 0;
bool gRefuse = false;

bool Taken(std::size_t size) {
    const std::lock_guard<std::mutex> lock(gMutex);
    if (gRefuse) {
        errno = ENOMEM;
        return false;
    }
    gHeld += size;
    gMost = std::max(gMost, gHeld);
    return true;
}

}  // namespace

extern "C" {

void *__real_mmap(void *at, std::size_t size, int access, int flags, int file, off_t offset);
void *__wrap_mmap(void *at, std::size_t size, int access, int flags, int file, off_t offset);
void *__real_mmap64(void *at, std::size_t size, int access, int flags, int file, off64_t offset);
void *__wrap_mmap64(void *at, std::size_t size, int access, int flags, int file, off64_t offset);
int __real_munmap(void *at, std::size_t size);
int __wrap_munmap(void *at, std::size_t size);

void *__wrap_mmap(void *at, std::size_t size, int access, int flags, int file, off_t offset) {
    return Taken(size) ? __real_mmap(at, size, access, flags, file, offset) : MAP_FAILED;
}

/// What a 32-bit build with 64-bit file sizes calls.
void *__wrap_mmap64(void *at, std::size_t size, int access, int flags, int file, off64_t offset) {
    return Taken(size) ? __real_mmap64(at, size, access, flags, file, offset) : MAP_FAILED;
}

int __wrap_munmap(void *at, std::size_t size) {
    const std::lock_guard<std::mutex> lock(gMutex);
    gHeld -= size;
    return __real_munmap(at, size);
}
}

namespace corvenna::test {

std::size_t Pages::HeldBytes() {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gHeld;
}

std::size_t Pages::MostHeldBytes() {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gMost;
}

void Pages::Refuse(bool refuse) {
    const std::lock_guard<std::mutex> lock(gMutex);
    gRefuse = refuse;
}

}  // namespace corvenna::test
