#include "bench/support/cost.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/support/heap.h"

namespace corvenna::bench {
namespace {

/// bench/measure collects what happens inside of this function, on the thread that calls it.
[[gnu::noinline]] void MeasuredJob(const Contender &contender) {
    contender.run();
    asm volatile("" : : : "memory");  // no tail call: callgrind looks for the return
}

void RunOnce(const Contender &contender, unsigned size, unsigned count) {
    if (contender.prepare != nullptr) {
        contender.prepare(size);
    }
    HeapUse last{};
    for (unsigned i = 0; i < count; ++i) {
        StartHeapCount();
        MeasuredJob(contender);
        last = StopHeapCount();
    }
    std::printf("allocations %zu peak %zu kept %td\n", last.allocations, last.peakBytes,
                last.keptBytes);
}

void RunTimed(int argc, char **argv, unsigned size, std::initializer_list<Contender> contenders) {
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
}

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
                return 0;
            }
        }
        std::fprintf(stderr, "no contender named %s\n", argv[1]);
        return 2;
    }
    RunTimed(argc, argv, size, contenders);
    return 0;
}

}  // namespace corvenna::bench
