#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

#include "config/channel_set.h"
#include "config/forward_config.h"
#include "config/sn_set.h"
#include "config/sys_set.h"

namespace {

// Hosts and tools read these records by their offsets.

TEST(Records, CloudSettingsLieByteByByte) {
    using Record = ST_CLOUDSERVER_CONFIG_ATTR;
    EXPECT_EQ(0U, offsetof(Record, checked));
    EXPECT_EQ(1U, offsetof(Record, cloudip));
    EXPECT_EQ(65U, offsetof(Record, port));
    EXPECT_EQ(67U, offsetof(Record, Dir));
    EXPECT_EQ(131U, offsetof(Record, RealDataInv));
    EXPECT_EQ(133U, offsetof(Record, AlarmDataInv));
    EXPECT_EQ(135U, offsetof(Record, HeartBeatInv));
    EXPECT_EQ(137U, offsetof(Record, CheckFailInv));
    EXPECT_EQ(139U, offsetof(Record, RecallInv));
    EXPECT_EQ(141U, offsetof(Record, filetype));
    EXPECT_EQ(157U, offsetof(Record, isCompress));
    EXPECT_EQ(158U, offsetof(Record, TcpChannel));
    EXPECT_EQ(159U, sizeof(Record));
}

TEST(Records, TheDescriptionIsTenTextsInTheirOrder) {
    using Record = ST_GATEWAY_INFO;
    const std::size_t kOffsets[] = {offsetof(Record, stationName), offsetof(Record, version),
                                    offsetof(Record, roomName),    offsetof(Record, roomDesc),
                                    offsetof(Record, gateWayName), offsetof(Record, address),
                                    offsetof(Record, ownerName),   offsetof(Record, ownerDesc),
                                    offsetof(Record, longitude),   offsetof(Record, latitude)};
    std::size_t expected = 0;
    for (const std::size_t offset : kOffsets) {
        EXPECT_EQ(expected, offset);
        expected += 256;
    }
    EXPECT_EQ(expected, sizeof(Record));
}

TEST(Records, HttpsSettingsLieByteByByte) {
    using Record = ST_HTTPS_CERT_INFO;
    EXPECT_EQ(0U, offsetof(Record, checked));
    EXPECT_EQ(1U, offsetof(Record, certfile));
    EXPECT_EQ(129U, offsetof(Record, user));
    EXPECT_EQ(193U, offsetof(Record, passwd));
    EXPECT_EQ(257U, sizeof(Record));
}

TEST(Records, DevicesLieByteByByte) {
    using Record = ST_DEV_ATTR;
    EXPECT_EQ(0U, offsetof(Record, DeviceName));
    EXPECT_EQ(128U, offsetof(Record, Name));
    EXPECT_EQ(256U, offsetof(Record, Protocol));
    EXPECT_EQ(384U, offsetof(Record, Desc));
    EXPECT_EQ(512U, offsetof(Record, SlaveId));
    EXPECT_EQ(513U, offsetof(Record, GroupNo));
    EXPECT_EQ(514U, offsetof(Record, ChannelNo));
    EXPECT_TRUE(std::is_trivially_copyable_v<Record>);
}

TEST(Records, PointsLieByteByByte) {
    using Record = ST_POINTID_ATTR;
    EXPECT_EQ(0U, offsetof(Record, Name));
    EXPECT_EQ(128U, offsetof(Record, GroupNo));
    EXPECT_EQ(129U, offsetof(Record, DevId));
    EXPECT_EQ(130U, offsetof(Record, type));
    EXPECT_EQ(131U, offsetof(Record, NodeId));
    EXPECT_EQ(133U, offsetof(Record, db_link));
    EXPECT_EQ(137U, offsetof(Record, EUUnits));
    EXPECT_TRUE(std::is_trivially_copyable_v<Record>);
}

// The objects hold the document's handle first, then their parts in a stated order.
std::size_t Place(const void *part, const void *object) {
    return static_cast<std::size_t>(static_cast<const char *>(part) -
                                    static_cast<const char *>(object));
}

TEST(Objects, SystemSettingsAreTheHandleAndThreeRecords) {
    CSysSet set;
    EXPECT_EQ(sizeof(void *), Place(set.GetCloudConfigAttr(), &set));
    EXPECT_EQ(sizeof(void *) + 159, Place(set.GetGateWayAttr(), &set));
    EXPECT_EQ(sizeof(void *) + 159 + 2560, Place(set.GetHttpsCertInfo(), &set));
}

TEST(Objects, TheIdentityIsTheHandleTwoNumbersAndTheText) {
    CsnSet set;
    EXPECT_EQ(sizeof(void *) + 8, Place(set.GetSn(), &set));
}

TEST(Objects, TheChannelSetIsTheHandleAndThreeMaps) {
    CChannelSet set;
    MAP_CHANNEL_POINT *tree = nullptr;
    MAP_DEV_ATTR *devices = nullptr;
    MAP_POINTID_ATTR *points = nullptr;
    set.GetAttr(&tree);
    set.GetAttr(&devices);
    set.GetAttr(&points);
    EXPECT_EQ(sizeof(void *), Place(tree, &set));
    EXPECT_EQ(Place(tree, &set) + sizeof(MAP_CHANNEL_POINT), Place(devices, &set));
    EXPECT_EQ(Place(devices, &set) + sizeof(MAP_DEV_ATTR), Place(points, &set));
}

TEST(Objects, TheForwardingTablesAreTheHandleAndTheMap) {
    const CForwardConfig config;
    EXPECT_EQ(sizeof(void *), Place(&config.GetForwardMap(), &config));
}

}  // namespace
