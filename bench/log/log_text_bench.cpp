// One message of 95 characters, 100 times a job: what a caller pays for log_Text.

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

constexpr int kMessages = 100;
constexpr char kFormat[] = "Send file %s to %s finish, attempt %d, status %d";
constexpr char kPath[] = "/tmp/up/S20240305070809.json";
constexpr char kUrl[] = "http://192.168.1.20:8080/realdata";

/// Entries are written by the benchmark itself, outside of what is measured by `run`: the writer
/// thread sleeps, and nodes come back as they do on a gateway.
void OursPrepare(unsigned /*size*/) {
    auto &sink = Singleton<CLogTxt>::Instance();
    sink.Init();
    for (int i = 0; i < kMessages; ++i) {
        log_Text(kLogInfo, kFormat, kPath, kUrl, i, 200);
    }
}

void Ours() {
    for (int i = 0; i < kMessages; ++i) {
        log_Text(kLogInfo, kFormat, kPath, kUrl, 10, 200);
    }
}

void BarePrint() {
    for (int i = 0; i < kMessages; ++i) {
        char text[2048];
        std::snprintf(text, sizeof text, kFormat, kPath, kUrl, 10, 200);
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
    std::snprintf(node.date, sizeof node.date, "%d-%02d-%02d", (broken.tm_year + 1900) % 10000,
                  (broken.tm_mon + 1) % 100, broken.tm_mday % 100);
    std::snprintf(node.time, sizeof node.time, "%02d:%02d:%02d", broken.tm_hour % 100,
                  broken.tm_min % 100, broken.tm_sec % 100);
    std::snprintf(node.type, sizeof node.type, "%s", type);
    std::snprintf(node.text, sizeof node.text - 1, "%s", text);
    const std::lock_guard<std::mutex> lock(gMutex);
    gQueue.push_back(node);
}

void Straight() {
    for (int i = 0; i < kMessages; ++i) {
        LogStraight("INFO", kFormat, kPath, kUrl, 10, 200);
    }
    gQueue.clear();
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
        gSpdlog->info("Send file {} to {} finish, attempt {}, status {}", kPath, kUrl, 10, 200);
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
        LOG(INFO) << "Send file " << kPath << " to " << kUrl << " finish, attempt " << 10
                  << ", status " << 200;
    }
}
#endif

}  // namespace

int main(int argc, char **argv) {
    return corvenna::bench::CostMain(argc, argv, 1,
                                     {
                                         {"log_Text", OursPrepare, Ours},
                                         {"bare_snprintf", nullptr, BarePrint},
                                         {"straightforward", nullptr, Straight},
#ifdef CORVENNA_WITH_SPDLOG
                                         {"spdlog_async", SpdlogPrepare, Spdlog},
#endif
#ifdef CORVENNA_WITH_GLOG
                                         {"glog", GlogPrepare, Glog},
#endif
                                     });
}
