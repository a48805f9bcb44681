#include "tests/packfile/packing.h"

#include <filesystem>

#include "plugin/plugin.h"
#include "tests/support/files.h"

namespace corvenna::test {

PackingTest::PackingTest() {
    SetZone("UTC0");
    std::filesystem::create_directories(dir_);
}

std::int32_t PackingTest::CreateRealData() {
    return CreateRealDataFile(&values_, dir_.data(), &files_, sampleTime_);
}

std::int32_t PackingTest::CreateAlarmData() {
    return CreateAlarmDataFile(&alarms_, dir_.data(), &files_);
}

std::string PackingTest::RealDataText() {
    files_.clear();
    CreateRealData();
    EXPECT_EQ(files_.size(), 1U);
    return files_.empty() ? std::string() : ReadFile(files_.front());
}

std::string PackingTest::AlarmDataText() {
    files_.clear();
    CreateAlarmData();
    EXPECT_EQ(files_.size(), 1U);
    return files_.empty() ? std::string() : ReadFile(files_.front());
}

std::string FormatName(const testing::TestParamInfo<const char *> &format) {
    return format.param[0] == 'j' ? "Json" : "Xml";
}

}  // namespace corvenna::test
