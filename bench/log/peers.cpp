#include "bench/log/peers.h"

#ifdef HAS_SPDLOG
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <thread>
#endif
#ifdef HAS_BOOST_LOG
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/async_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/logger.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/utility/setup/common_attributes.hpp>
#include <boost/make_shared.hpp>
#include <fstream>
#endif
#ifdef HAS_GLOG
#include <glog/logging.h>
#endif

namespace corvenna::bench {

#ifdef HAS_SPDLOG
namespace {

std::shared_ptr<spdlog::logger> gSpdlog;

}  // namespace

void PrepareSpdlog() {
    if (gSpdlog == nullptr) {
        spdlog::init_thread_pool(2 * kBurstMessages, 1);
        gSpdlog = spdlog::basic_logger_mt<spdlog::async_factory>("bench", "/tmp/spdlog_bench.txt");
    }
}

void LogBySpdlog(int messages) {
    for (int i = 0; i < messages; ++i) {
        gSpdlog->info("start Send file {} to {}", kPath, kUrl);
    }
}

void WriteSpdlog() {
    while (spdlog::thread_pool()->queue_size() > 0) {
        std::this_thread::yield();
    }
}
#endif

#ifdef HAS_BOOST_LOG
namespace {

using TextSink = boost::log::sinks::asynchronous_sink<boost::log::sinks::text_ostream_backend>;
boost::shared_ptr<TextSink> gBoostSink;

}  // namespace

/// With the line's time, as all others have.
void PrepareBoostLog() {
    namespace expressions = boost::log::expressions;
    if (gBoostSink != nullptr) {
        return;
    }
    gBoostSink = boost::make_shared<TextSink>();
    gBoostSink->locked_backend()->add_stream(
        boost::make_shared<std::ofstream>("/tmp/boost_bench.txt"));
    gBoostSink->set_formatter(expressions::stream
                              << expressions::format_date_time<boost::posix_time::ptime>(
                                     "TimeStamp", "%Y-%m-%d %H:%M:%S")
                              << ' ' << expressions::smessage);
    boost::log::core::get()->add_sink(gBoostSink);
    boost::log::add_common_attributes();
}

void LogByBoostLog(int messages) {
    boost::log::sources::logger logger;
    for (int i = 0; i < messages; ++i) {
        BOOST_LOG(logger) << "start Send file " << kPath << " to " << kUrl;
    }
}

void WriteBoostLog() {
    gBoostSink->flush();
}
#endif

#ifdef HAS_GLOG
void PrepareGlog() {
    static const bool started = [] {
        FLAGS_log_dir = "/tmp";
        google::InitGoogleLogging("bench");
        return true;
    }();
    static_cast<void>(started);
}

void LogByGlog(int messages) {
    for (int i = 0; i < messages; ++i) {
        LOG(INFO) << "start Send file " << kPath << " to " << kUrl;
    }
}
#endif

}  // namespace corvenna::bench
