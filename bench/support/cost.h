#pragma once

#include <initializer_list>

namespace corvenna::bench {

/// One way of doing the job that a benchmark program measures.
struct Contender {
    const char *name;
    void (*prepare)(unsigned size);  ///< not measured; may be null
    void (*run)();                   ///< the job, once
    bool countable = true;           ///< false: another process does it, only wall time tells
};

/// main of a benchmark program:
///
///     PROGRAM [--size=SIZE] [...]      wall time of every contender, by Google Benchmark and its
///                                      options
///     PROGRAM --list                   the names of the countable contenders
///     PROGRAM CONTENDER SIZE COUNT     prepares for SIZE, does the job COUNT times and prints what
///                                      callgrind does not see of one job: "allocations N peak
///                                      BYTES kept BYTES paused MICROSECONDS"
///
/// bench/run runs the last form under callgrind with two counts; the difference is the job's
/// own instructions, without those of start-up and preparation.
int CostMain(int argc, char **argv, unsigned size, std::initializer_list<Contender> contenders);

}  // namespace corvenna::bench
