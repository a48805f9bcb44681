#include "log/stamp.h"

#include <ctime>

#include "base/local_time.h"
#include "base/text.h"

namespace corvenna {
namespace {

/// What a printed stamp depends on: the second, and the time zone that tzset() set last.
struct StampKey {
    std::time_t second;
    long offset;
    const char *names[2];

    bool operator==(const StampKey &other) const {
        return second == other.second && offset == other.offset && names[0] == other.names[0] &&
               names[1] == other.names[1];
    }
};

void Print(std::time_t second, LogStamp &stamp) {
    const std::tm broken = LocalTime(second).value_or(std::tm{});
    PrintText<sizeof stamp.date>(stamp.date, "%d-%02d-%02d", broken.tm_year + 1900,
                                 broken.tm_mon + 1, broken.tm_mday);
    PrintText<sizeof stamp.time>(stamp.time, "%02d:%02d:%02d", broken.tm_hour, broken.tm_min,
                                 broken.tm_sec);
}

}  // namespace

const LogStamp &CurrentLogStamp() {
    // Each thread keeps its last stamp: printing one costs more than the rest of a log call.
    thread_local StampKey printed{-1, 0, {nullptr, nullptr}};
    thread_local LogStamp stamp{};
    const StampKey now{std::time(nullptr), timezone, {tzname[0], tzname[1]}};
    if (!(now == printed)) {
        Print(now.second, stamp);
        printed = {now.second, timezone, {tzname[0], tzname[1]}};
    }
    return stamp;
}

}  // namespace corvenna
