#include <zlib.h>

#include <cstdlib>

#include "base/text.h"
#include "config/channel_set.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "tests/packfile/packing.h"

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

}  // namespace corvenna::test
