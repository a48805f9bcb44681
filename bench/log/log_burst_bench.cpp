// What a caller pays for a message by the clock: steadily, a few at a time that are written before
// the next, and in a burst that nobody has written yet; one thread, and four at once. Only the
// calls are timed: what is queued is written away between the rounds.

#include <benchmark/benchmark.h>
#include <pthread.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "bench/log/peers.h"
#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "log/singleton.h"

namespace {

using namespace corvenna::bench;

constexpr int kSteadyMessages = 400;
constexpr auto kMean = benchmark::Counter::kAvgIterations;

struct Contender {
    const char *name;
    void (*prepare)();
    void (*log)(int messages);
    void (*write)();
};

void Nothing() {}

__attribute__((format(printf, 1, 2))) void FormatOnly(const char *format, ...) {
    char text[2048];
    va_list arguments;
    va_start(arguments, format);
    benchmark::DoNotOptimize(std::vsnprintf(text, sizeof text, format, arguments));
    va_end(arguments);
}

void PrepareOurs() {
    log_init(0);
}

void LogOurs(int messages) {
    for (int i = 0; i < messages; ++i) {
        log_Text(kLogInfo, kFormat, kPath, kUrl);
    }
}

void WriteOurs() {
    Singleton<CLogTxt>::Instance().Finish();
}

void LogToDatabase(int messages) {
    for (int i = 0; i < messages; ++i) {
        log_DB(kLogInfo, kFormat, kPath, kUrl);
    }
}

void WriteDatabase() {
    Singleton<CLogDatabase>::Instance().Finish();
}

void LogBare(int messages) {
    for (int i = 0; i < messages; ++i) {
        FormatOnly(kFormat, kPath, kUrl);
    }
}

/// What a number of calls took.
struct Took {
    double seconds;    ///< from the first thread's start to the last one's end
    double processor;  ///< seconds of the calling threads together
};

double Seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// One thread's calls.
struct Caller {
    void Call(void (*log)(int messages), int messages) {
        const double processorBefore = Seconds(CLOCK_THREAD_CPUTIME_ID);
        begin = Seconds(CLOCK_MONOTONIC);
        log(messages);
        end = Seconds(CLOCK_MONOTONIC);
        processor = Seconds(CLOCK_THREAD_CPUTIME_ID) - processorBefore;
    }
    std::thread thread;
    double begin = 0;
    double end = 0;
    double processor = 0;
};

Took CallOnThreads(int threads, int messages, void (*log)(int messages)) {
    std::vector<Caller> callers(static_cast<std::size_t>(threads));
    pthread_barrier_t start;
    if (pthread_barrier_init(&start, nullptr, static_cast<unsigned>(threads)) != 0) {
        std::abort();
    }
    for (Caller &caller : callers) {
        caller.thread = std::thread([&start, &caller, log, messages, threads] {
            pthread_barrier_wait(&start);
            caller.Call(log, messages / threads);
        });
    }
    for (Caller &caller : callers) {
        caller.thread.join();
    }
    pthread_barrier_destroy(&start);
    double first = callers.front().begin;
    double last = callers.front().end;
    double processor = 0;
    for (const Caller &caller : callers) {
        first = std::min(first, caller.begin);
        last = std::max(last, caller.end);
        processor += caller.processor;
    }
    return {last - first, processor};
}

Took Call(int threads, int messages, void (*log)(int messages)) {
    if (threads > 1) {
        return CallOnThreads(threads, messages, log);
    }
    Caller caller;
    caller.Call(log, messages);
    return {caller.end - caller.begin, caller.processor};
}

void Register(const Contender &contender, const char *kind, int messages, int threads) {
    const std::string name = std::string(contender.name) + " " + kind + ", " +
                             std::to_string(threads) + (threads > 1 ? " threads" : " thread");
    auto *const registered = benchmark::RegisterBenchmark(
        name.c_str(), [contender, messages, threads](benchmark::State &state) {
            contender.prepare();
            contender.log(kSteadyMessages);
            contender.write();
            double processor = 0;
            for (auto unused : state) {
                benchmark::DoNotOptimize(unused);
                const Took took = Call(threads, messages, contender.log);
                state.SetIterationTime(took.seconds / messages);
                processor += took.processor / messages;
                contender.write();
            }
            state.counters["processor"] = benchmark::Counter(1e9 * processor, kMean);
        });
    // Few, as writing the messages away takes much longer than the calls that are timed.
    registered->UseManualTime()->Iterations(messages == kBurstMessages ? 2 : 20);
}

}  // namespace

int main(int argc, char **argv) {
    const Contender contenders[] = {
        {"log_Text", PrepareOurs, LogOurs, WriteOurs},
        {"log_DB", PrepareOurs, LogToDatabase, WriteDatabase},
        {"vsnprintf", Nothing, LogBare, Nothing},
#ifdef HAS_SPDLOG
        {"spdlog asynchronous", PrepareSpdlog, LogBySpdlog, WriteSpdlog},
#endif
#ifdef HAS_BOOST_LOG
        {"Boost.Log asynchronous", PrepareBoostLog, LogByBoostLog, WriteBoostLog},
#endif
    };
    for (const Contender &contender : contenders) {
        for (const int threads : {1, 4}) {
            Register(contender, "steady", kSteadyMessages, threads);
            Register(contender, "burst", kBurstMessages, threads);
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
