#include "log/log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "log/log_database.h"
#include "log/log_txt.h"
#include "log/singleton.h"

namespace {

std::atomic<bool> gDebug{false};

constexpr const char *kLevelWords[] = {"SEND", "RECV", "DEBUG", "INFO", "WARN", "ERROR", "FATAL"};

/// DEBUG messages are never stored, and not even formatted unless they are echoed.
template <std::size_t Capacity>
__attribute__((format(printf, 1, 0))) void Echo(const char *format, va_list arguments) {
    char text[Capacity];
    std::vsnprintf(text, sizeof text, format, arguments);
    std::fputs(text, stderr);
}

template <class Sink, std::size_t Capacity>
__attribute__((format(printf, 2, 0))) void Log(LogLevel level, const char *format,
                                               va_list arguments) {
    const bool echo = gDebug.load(std::memory_order_relaxed);
    if (level != kLogDebug) {
        Singleton<Sink>::Instance().InsertFormatted(LogLevelToString(level), format, arguments,
                                                    echo);
    } else if (echo) {
        Echo<Capacity>(format, arguments);
    }
}

}  // namespace

int log_init(int debug) {
    gDebug = debug != 0;
    Singleton<CLogDatabase>::Instance().Init();
    Singleton<CLogTxt>::Instance().Init();
    return 1;
}

int log_DB(LogLevel level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Log<CLogDatabase, corvenna::DatabaseFields::kFormatCapacity>(level, format, arguments);
    va_end(arguments);
    return 1;
}

int log_Text(LogLevel level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Log<CLogTxt, corvenna::TextFields::kFormatCapacity>(level, format, arguments);
    va_end(arguments);
    return 1;
}

const char *LogLevelToString(LogLevel level) {
    constexpr int kLevels = sizeof kLevelWords / sizeof kLevelWords[0];
    return 0 <= level && level < kLevels ? kLevelWords[level] : "UNKNOWN";
}
