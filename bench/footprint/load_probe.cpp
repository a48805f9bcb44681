// A host that loads a library and tells what that takes.
//
//     load_probe LIBRARY            nanoseconds of dlopen
//     load_probe LIBRARY POINTS     and KiB: resident before it, resident and private dirty after
//                                   Init of that many points, 200 a device

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "bench/support/gateway_files.h"
#include "plugin/plugin.h"

namespace {

struct Memory {
    long residentKib;
    long privateDirtyKib;
};

Memory CurrentMemory() {
    Memory memory{};
    std::ifstream file("/proc/self/smaps_rollup");
    for (std::string line; std::getline(file, line);) {
        long kib = 0;
        if (std::sscanf(line.c_str(), "Rss: %ld", &kib) == 1) {
            memory.residentKib = kib;
        } else if (std::sscanf(line.c_str(), "Private_Dirty: %ld", &kib) == 1) {
            memory.privateDirtyKib = kib;
        }
    }
    return memory;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        return 2;
    }
    const long before = CurrentMemory().residentKib;
    const auto start = std::chrono::steady_clock::now();
    void *const library = dlopen(argv[1], RTLD_NOW);
    const std::chrono::nanoseconds took = std::chrono::steady_clock::now() - start;
    if (library == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    std::printf("%lld", static_cast<long long>(took.count()));
    if (argc > 2) {
        corvenna::bench::WriteGatewayFiles(
            static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)));
        const auto init = reinterpret_cast<decltype(&Init)>(dlsym(library, "Init"));
        Interval_info intervals;
        if (init(&intervals) != 0) {
            std::fputs("Init failed\n", stderr);
            return 1;
        }
        const Memory memory = CurrentMemory();
        std::printf(" %ld %ld %ld", before, memory.residentKib, memory.privateDirtyKib);
    }
    std::puts("");
    return 0;
}
