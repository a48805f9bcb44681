#include "base/local_time.h"

#include "base/text.h"

namespace corvenna {

std::optional<std::tm> LocalTime(std::time_t time) {
    std::tm broken{};
    if (localtime_r(&time, &broken) == nullptr) {
        return std::nullopt;
    }
    return broken;
}

TimeText PrintTime(const std::tm &time) {
    TimeText result{};
    PrintText<sizeof result.text>(result.text, "%04d-%02d-%02d %02d:%02d:%02d", time.tm_year + 1900,
                                  time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min,
                                  time.tm_sec);
    return result;
}

}  // namespace corvenna
