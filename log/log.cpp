#include "log/log.h"

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "log/log_database.h"
#include "log/log_txt.h"
#include "log/singleton.h"

using namespace corvenna;

namespace {

std::atomic<bool> gDebug{false};

/// DEBUG messages are never stored, and not even formatted unless they are echoed.
/// @param capacity of the text, with its NUL
__attribute__((format(printf, 2, 0))) void Echo(std::size_t capacity, const char *format,
                                                va_list arguments) {
    char text[kMostFormatted];
    std::vsnprintf(text, capacity, format, arguments);
    std::fputs(text, stderr);
}

template <class Sink, class Fields>
__attribute__((format(printf, 2, 0))) void Log(LogLevel level, const char *format,
                                               va_list arguments) {
    const bool echo = gDebug.load(std::memory_order_relaxed);
    if (level != kLogDebug) {
        Singleton<Sink>::Instance().InsertFormatted(LogLevelToString(level), format, arguments,
                                                    echo);
    } else if (echo) {
        Echo(Fields::kFormatCapacity, format, arguments);
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
    Log<CLogDatabase, DatabaseFields>(level, format, arguments);
    va_end(arguments);
    return 1;
}

int log_Text(LogLevel level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    Log<CLogTxt, TextFields>(level, format, arguments);
    va_end(arguments);
    return 1;
}
