#include "tests/log/day_files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace corvenna::test {

namespace {

class ItIsNoon : public testing::Environment {
    void SetUp() override {
        constexpr int kNoon = 12;
        const std::time_t now = std::time(nullptr);
        std::tm utc{};
        gmtime_r(&now, &utc);
        // The number is that of the hours behind UTC.
        setenv("TZ", ("NOON" + std::to_string(utc.tm_hour - kNoon)).c_str(), 1);
        tzset();
    }
};

[[maybe_unused]] const auto *const gNoon = testing::AddGlobalTestEnvironment(new ItIsNoon);

}  // namespace

std::string TodaysFile() {
    const std::time_t now = std::time(nullptr);
    std::tm broken{};
    localtime_r(&now, &broken);
    char name[64];
    std::strftime(name, sizeof name, "/tmp/CloudLog/%m%d_log.txt", &broken);
    return name;
}

}  // namespace corvenna::test
