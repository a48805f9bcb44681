#include "bench/support/cost.h"

#ifdef CORVENNA_WITH_BENCHMARK
#include <benchmark/benchmark.h>
#endif

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/support/heap.h"
#include "bench/support/quiet.h"

namespace corvenna::bench {
namespace {

/// bench/run collects what happens inside of this function, on the thread that calls it.
[[gnu::noinline]] void MeasuredJob(const Contender &contender) {
    contender.run();
    asm volatile("" : : : "memory");  // no tail call: callgrind looks for the return
}

void RunOnce(const Contender &contender, unsigned size, unsigned count) {
    if (contender.prepare != nullptr) {
        contender.prepare(size);
    }
    HeapUse last{};
    std::uint64_t paused = 0;
    for (unsigned i = 0; i < count; ++i) {
        TakePausedMicroseconds();
        StartHeapCount();
        MeasuredJob(contender);
        last = StopHeapCount();
        paused = TakePausedMicroseconds();
    }
    std::printf("allocations %zu peak %zu kept %td paused %" PRIu64 "\n", last.allocations,
                last.peakBytes, last.keptBytes, paused);
}

#ifdef CORVENNA_WITH_BENCHMARK
int RunTimed(int argc, char **argv, unsigned size, std::initializer_list<Contender> contenders) {
    for (const Contender &contender : contenders) {
        benchmark::RegisterBenchmark(contender.name, [contender, size](benchmark::State &state) {
            if (contender.prepare != nullptr) {
                contender.prepare(size);
            }
            for (auto unused : state) {
                benchmark::DoNotOptimize(unused);
                contender.run();
            }
        });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
#else
int RunTimed(int /*argc*/, char ** /*argv*/, unsigned /*size*/,
             std::initializer_list<Contender> /*contenders*/) {
    std::fputs("this build counts and does not time\n", stderr);
    return 2;
}
#endif

}  // namespace

int CostMain(int argc, char **argv, unsigned size, std::initializer_list<Contender> contenders) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const Contender &contender : contenders) {
            if (contender.countable) {
                std::puts(contender.name);
            }
        }
        return 0;
    }
    if (argc == 4 && argv[1][0] != '-') {
        for (const Contender &contender : contenders) {
            if (std::strcmp(contender.name, argv[1]) == 0) {
                RunOnce(contender, static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)),
                        static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10)));
                std::fflush(stdout);
                std::_Exit(0);  // what is done at the end of a process is no part of the job
            }
        }
        std::fprintf(stderr, "no contender named %s\n", argv[1]);
        return 2;
    }
    constexpr char kSizeOption[] = "--size=";
    constexpr std::size_t kSizeOptionLength = sizeof kSizeOption - 1;
    if (argc > 1 && std::strncmp(argv[1], kSizeOption, kSizeOptionLength) == 0) {
        size = static_cast<unsigned>(std::strtoul(argv[1] + kSizeOptionLength, nullptr, 10));
        argv[1] = argv[0];
        --argc;
        ++argv;
    }
    return RunTimed(argc, argv, size, contenders);
}

}  // namespace corvenna::bench
