// Preloaded into a program, has everything that it writes to files fail with the error whose number
// stands, as 32 bits, in the file that CORVENNA_FAILING_DISK names; with 0 the disk is well. Pipes
// and sockets are left alone.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

namespace {

using Number = std::atomic<std::int32_t>;
static_assert(sizeof(Number) == sizeof(std::int32_t));

Number *Map() {
    const char *path = std::getenv("CORVENNA_FAILING_DISK");
    const int fd = path == nullptr ? -1 : open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return nullptr;
    }
    void *mapped = mmap(nullptr, sizeof(Number), PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    return mapped == MAP_FAILED ? nullptr : static_cast<Number *>(mapped);
}

/// Whether writing to a descriptor is to fail; errno says why.
bool Fails(int fd) {
    static const Number *const number = Map();
    const std::int32_t error = number == nullptr ? 0 : number->load();
    struct stat status {};
    if (error == 0 || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    errno = error;
    return true;
}

template <class Function>
Function Next(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" ssize_t write(int fd, const void *bytes, size_t count) {
    static const auto next = Next<ssize_t (*)(int, const void *, size_t)>("write");
    return Fails(fd) ? -1 : next(fd, bytes, count);
}

extern "C" ssize_t pwrite(int fd, const void *bytes, size_t count, off_t offset) {
    static const auto next = Next<ssize_t (*)(int, const void *, size_t, off_t)>("pwrite");
    return Fails(fd) ? -1 : next(fd, bytes, count, offset);
}

extern "C" ssize_t pwrite64(int fd, const void *bytes, size_t count, off64_t offset) {
    static const auto next = Next<ssize_t (*)(int, const void *, size_t, off64_t)>("pwrite64");
    return Fails(fd) ? -1 : next(fd, bytes, count, offset);
}
