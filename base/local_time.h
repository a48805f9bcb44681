#pragma once

#include <ctime>
#include <optional>

namespace corvenna {

/// Room for "%04d-%02d-%02d %02d:%02d:%02d" with any year that localtime_r can produce.
struct TimeText {
    char text[48];
};

/// Breaks a time down in the process's time zone; nothing when it cannot be broken down.
std::optional<std::tm> LocalTime(std::time_t time);

/// The time that the fields tell in that zone, as mktime puts them right; -1 when there is none.
std::time_t FromLocalTime(std::tm time);

/// The year as people count it. The last 1,900 years that localtime_r can produce wrap around.
int CalendarYear(const std::tm &time);

/// "2024-03-05 07:08:09".
TimeText PrintTime(const std::tm &time);

}  // namespace corvenna
