// Loaded before a server (LD_PRELOAD): counts how often it waits for its disk, and makes each wait
// longer. Both numbers are in the file CORVENNA_SYNCS, shared by all processes that have it;
// without it nothing is counted.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <thread>

namespace {

struct Counts {
    std::atomic<std::uint64_t> syncs;
    std::atomic<std::uint64_t> milliseconds;  // more for each
};
static_assert(sizeof(Counts) == 16 && std::atomic<std::uint64_t>::is_always_lock_free);

Counts *Open() {
    const char *path = std::getenv("CORVENNA_SYNCS");
    const int file = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    void *counts = mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return counts == MAP_FAILED ? nullptr : static_cast<Counts *>(counts);
}

int Sync(const char *name, int file) {
    static Counts *const counts = Open();
    using Function = int (*)(int);
    const auto next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    if (next == nullptr) {
        std::abort();
    }
    if (counts != nullptr) {
        ++counts->syncs;
        std::this_thread::sleep_for(std::chrono::milliseconds(counts->milliseconds.load()));
    }
    return next(file);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int fsync(int file) {
    return Sync("fsync", file);
}

extern "C" __attribute__((visibility("default"))) int fdatasync(int file) {
    return Sync("fdatasync", file);
}
