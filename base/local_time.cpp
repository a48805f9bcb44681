#include "base/local_time.h"

#include "base/forks.h"
#include "base/text.h"

namespace corvenna {

std::optional<std::tm> LocalTime(std::time_t time) {
    std::tm broken{};
    const NoForkMeanwhile zone;
    if (localtime_r(&time, &broken) == nullptr) {
        return std::nullopt;
    }
    return broken;
}

std::time_t FromLocalTime(std::tm time) {
    const NoForkMeanwhile zone;
    return std::mktime(&time);
}

int CalendarYear(const std::tm &time) {
    constexpr unsigned kFirstYear = 1900;
    return static_cast<int>(static_cast<unsigned>(time.tm_year) + kFirstYear);
}

TimeText PrintTime(const std::tm &time) {
    TimeText result{};
    PrintText(AllOf(result.text), "%04d-%02d-%02d %02d:%02d:%02d", CalendarYear(time),
              time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
    return result;
}

}  // namespace corvenna
