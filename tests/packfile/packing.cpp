#include "tests/packfile/packing.h"

#include <zlib.h>

#include <cstdlib>
#include <filesystem>

#include "base/text.h"
#include "config/channel_set.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/support/files.h"

namespace corvenna::test {

void AddPoint(std::uint32_t id, const std::string &name, const std::string &unit) {
    ST_POINTID_ATTR point{};
    CopyText<127>(point.Name, name.c_str());
    CopyText<127>(point.EUUnits, unit.c_str());
    point.GroupNo = static_cast<std::uint8_t>(id >> 24);
    point.DevId = static_cast<std::uint8_t>(id >> 16);
    point.db_link = id;
    GetCChannelSetInstance()->AddSamplePoint(point);
}

MAP_FORWARD &ForwardTables() {
    return const_cast<MAP_FORWARD &>(GetCForwardConfigInstance()->GetForwardMap());
}

void Configure(const char *fileType, bool compress, std::uint8_t forwardChannel) {
    ST_CLOUDSERVER_CONFIG_ATTR &settings = *GetCSysSetInstance()->GetCloudConfigAttr();
    CopyText<15>(settings.filetype, fileType);
    settings.isCompress = compress ? 1 : 0;
    settings.TcpChannel = forwardChannel;
}

void SetZone(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
}

std::string Inflate(const std::string &compressed) {
    std::string text(4 << 20, '\0');
    auto length = static_cast<uLongf>(text.size());
    auto consumed = static_cast<uLong>(compressed.size());
    EXPECT_EQ(uncompress2(reinterpret_cast<Bytef *>(text.data()), &length,
                          reinterpret_cast<const Bytef *>(compressed.data()), &consumed),
              Z_OK);
    EXPECT_EQ(consumed, compressed.size());
    text.resize(length);
    return text;
}

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
