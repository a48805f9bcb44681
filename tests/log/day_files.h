#pragma once

#include <unistd.h>

#include <ctime>
#include <string>

namespace corvenna::test {

inline std::string DayFile(std::time_t time) {
    char name[64];
    std::tm broken{};
    localtime_r(&time, &broken);
    std::strftime(name, sizeof name, "/tmp/CloudLog/%m%d_log.txt", &broken);
    return name;
}

/// Today's file; a test that runs across midnight finds its entries in either day's.
inline std::string TodaysFile() {
    const std::string now = DayFile(std::time(nullptr));
    const std::string before = DayFile(std::time(nullptr) - 60);
    return access(now.c_str(), F_OK) != 0 && access(before.c_str(), F_OK) == 0 ? before : now;
}

}  // namespace corvenna::test
