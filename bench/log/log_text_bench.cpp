// One message of 95 characters, 50 times a job: what a caller pays for log_Text. Jobs are counted
// from none to one (bench/measure --unit 50 --counts 0,1), since nodes come back only when they are
// written.

#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <list>
#include <memory>
#include <mutex>

#include "bench/support/cost.h"
#include "log/log.h"
#include "log/log_txt.h"
#include "log/singleton.h"

#ifdef CORVENNA_WITH_SPDLOG
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#endif
#ifdef CORVENNA_WITH_GLOG
#include <glog/logging.h>
#endif

namespace {

using corvenna::bench::Contender;

constexpr int kMessages = 50;
constexpr char kFormat[] = "start Send file %s to %s";
constexpr char kPath[] = "/tmp/up/S20240305070809.json";
constexpr char kUrl[] = "http://192.168.1.20:8080/cloud/realdata/GW00123";

void Ours() {
    for (int i = 0; i < kMessages; ++i) {
        log_Text(kLogInfo, kFormat, kPath, kUrl);
    }
}

/// Leaves as many written nodes as a job takes, as the writer thread does every five seconds.
void OursPrepare(unsigned /*size*/) {
    auto &sink = Singleton<CLogTxt>::Instance();
    sink.Init();
    Ours();
    sink.Finish();
}

/// Leaves none: more messages in five seconds than nodes are kept for.
void OursAheadOfTheWriterPrepare(unsigned /*size*/) {
    Singleton<CLogTxt>::Instance().Init();
    log_Text(kLogInfo, kFormat, kPath, kUrl);
}

void BarePrint() {
    for (int i = 0; i < kMessages; ++i) {
        char text[2048];
        std::snprintf(text, sizeof text, kFormat, kPath, kUrl);
        asm volatile("" : : "r"(text) : "memory");
    }
}

void BarePrepare(unsigned /*size*/) {
    BarePrint();
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

void Straight() {
    for (int i = 0; i < kMessages; ++i) {
        LogStraight("INFO", kFormat, kPath, kUrl);
    }
    gQueue.clear();
}

void StraightPrepare(unsigned /*size*/) {
    Straight();
}

#ifdef CORVENNA_WITH_SPDLOG
std::shared_ptr<spdlog::logger> gSpdlog;

void SpdlogPrepare(unsigned /*size*/) {
    if (gSpdlog == nullptr) {
        gSpdlog = spdlog::basic_logger_mt<spdlog::async_factory>("bench", "/tmp/spdlog_bench.txt");
    }
}

void Spdlog() {
    for (int i = 0; i < kMessages; ++i) {
        gSpdlog->info("start Send file {} to {}", kPath, kUrl);
    }
}
#endif

#ifdef CORVENNA_WITH_GLOG
void GlogPrepare(unsigned /*size*/) {
    static const bool started = [] {
        FLAGS_log_dir = "/tmp";
        google::InitGoogleLogging("log_text_bench");
        return true;
    }();
    static_cast<void>(started);
}

void Glog() {
    for (int i = 0; i < kMessages; ++i) {
        LOG(INFO) << "start Send file " << kPath << " to " << kUrl;
    }
}
#endif

}  // namespace

int main(int argc, char **argv) {
    return corvenna::bench::CostMain(argc, argv, 1,
                                     {
                                         {"log_Text", OursPrepare, Ours},
                                         {"log_Text_new_nodes", OursAheadOfTheWriterPrepare, Ours},
                                         {"bare_snprintf", BarePrepare, BarePrint},
                                         {"straightforward", StraightPrepare, Straight},
#ifdef CORVENNA_WITH_SPDLOG
                                         {"spdlog_async", SpdlogPrepare, Spdlog},
#endif
#ifdef CORVENNA_WITH_GLOG
                                         {"glog", GlogPrepare, Glog},
#endif
                                     });
}
