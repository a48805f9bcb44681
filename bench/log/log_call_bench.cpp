// One message of 95 characters, 400 times on each of `size` threads: what callers pay for log_Text
// and log_DB. Jobs are counted from none to one, and the writers sleep meanwhile: a batch of theirs
// is no part of a call.

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <list>
#include <mutex>
#include <vector>

#include "bench/log/peers.h"
#include "bench/support/cost.h"
#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "log/singleton.h"

namespace {

using namespace corvenna::bench;

constexpr int kMessages = 400;

unsigned gThreads;

constexpr int kWriters = 2;  // log_init() starts both
std::atomic<int> gSleepers{0};

template <void (*Log)(int messages)>
void *MeasuredJobOfThread(void * /*unused*/) {
    Log(kMessages);
    return nullptr;
}

/// On this thread alone, or on others that are counted like this one (see bench/counting.py).
template <void (*Log)(int messages)>
void OnThreads() {
    if (gThreads == 1) {
        Log(kMessages);
        return;
    }
    std::vector<pthread_t> threads(gThreads);
    for (pthread_t &thread : threads) {
        if (pthread_create(&thread, nullptr, MeasuredJobOfThread<Log>, nullptr) != 0) {
            std::abort();
        }
    }
    for (const pthread_t thread : threads) {
        pthread_join(thread, nullptr);
    }
}

/// What only the first messages pay is paid here.
template <void (*Start)(), void (*Log)(int messages), void (*Write)()>
void Prepare(unsigned threads) {
    gThreads = threads;
    Start();
    Log(1);
    Write();
}

void Nothing() {}

void StartLog() {
    log_init(0);
}

void LogText(int messages) {
    for (int i = 0; i < messages; ++i) {
        log_Text(kLogInfo, kFormat, kPath, kUrl);
    }
}

void LogDatabase(int messages) {
    for (int i = 0; i < messages; ++i) {
        log_DB(kLogInfo, kFormat, kPath, kUrl);
    }
}

template <class Sink>
void Finish() {
    Singleton<Sink>::Instance().Finish();
    while (gSleepers < kWriters) {
        sched_yield();
    }
}

void PrintBare(int messages) {
    for (int i = 0; i < messages; ++i) {
        char text[2048];
        std::snprintf(text, sizeof text, kFormat, kPath, kUrl);
        asm volatile("" : : "r"(text) : "memory");
    }
}

std::mutex gMutex;
std::list<ST_TXT_LOG_NODE> gQueue;

/// Format, stamp, copy into a cleared node, append a copy: how one would write it first.
__attribute__((format(printf, 2, 3))) void LogStraight(const char *type, const char *format, ...) {
    char text[2048];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::time_t now = std::time(nullptr);
    std::tm broken{};
    localtime_r(&now, &broken);
    ST_TXT_LOG_NODE node{};
    std::strftime(node.date, sizeof node.date, "%Y-%m-%d", &broken);
    std::strftime(node.time, sizeof node.time, "%H:%M:%S", &broken);
    std::snprintf(node.type, sizeof node.type, "%s", type);
    std::snprintf(node.text, sizeof node.text, "%s", text);
    const std::lock_guard<std::mutex> lock(gMutex);
    gQueue.push_back(node);
}

void LogStraightforward(int messages) {
    for (int i = 0; i < messages; ++i) {
        LogStraight("INFO", kFormat, kPath, kUrl);
    }
}

void WriteStraightforward() {
    gQueue.clear();
}

template <void (*Start)(), void (*Log)(int messages), void (*Write)()>
constexpr Contender Contending(const char *name) {
    return {name, Prepare<Start, Log, Write>, OnThreads<Log>};
}

}  // namespace

/// Between two rounds of a writer: the next one does not come.
extern "C" unsigned __wrap_sleep(unsigned /*seconds*/) {
    ++gSleepers;
    for (;;) {
        pause();
    }
}

int main(int argc, char **argv) {
    return CostMain(
        argc, argv, 1,
        {
            Contending<StartLog, LogText, Finish<CLogTxt>>("log_Text"),
            Contending<StartLog, LogDatabase, Finish<CLogDatabase>>("log_DB"),
            Contending<Nothing, PrintBare, Nothing>("snprintf"),
            Contending<Nothing, LogStraightforward, WriteStraightforward>("straightforward"),
#ifdef HAS_SPDLOG
            Contending<PrepareSpdlog, LogBySpdlog, WriteSpdlog>("spdlog asynchronous"),
#endif
#ifdef HAS_BOOST_LOG
            Contending<PrepareBoostLog, LogByBoostLog, WriteBoostLog>("Boost.Log asynchronous"),
#endif
#ifdef HAS_GLOG
            Contending<PrepareGlog, LogByGlog, Nothing>("glog"),
#endif
        });
}
