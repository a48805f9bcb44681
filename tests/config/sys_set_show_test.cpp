#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "config/sys_set.h"
#include "tests/support/capture_stdout.h"

namespace corvenna::test {
namespace {

ST_CLOUDSERVER_CONFIG_ATTR SomeCloud() {
    ST_CLOUDSERVER_CONFIG_ATTR cloud{};
    cloud.checked = 1;
    std::strcpy(cloud.cloudip, "10.0.0.1");
    cloud.port = 65535;
    std::strcpy(cloud.Dir, "/d");
    cloud.RealDataInv = -1;
    cloud.AlarmDataInv = 2;
    cloud.HeartBeatInv = 3;
    cloud.CheckFailInv = 4;
    cloud.RecallInv = 5;
    std::strcpy(cloud.filetype, "xml");
    cloud.isCompress = 1;
    cloud.TcpChannel = 9;
    return cloud;
}

constexpr char kCloudBlock[] =
    "*************** Cloud Config Info ***************\n"
    "checked=1\n"
    "cloudip=10.0.0.1,port = 65535\n"
    "Dir=/d\n"
    "RealDataInv=-1 \n"
    "AlarmDataInv = 2\n"
    "HeartBeatInv = 3\n"
    "CheckFailInv = 4\n"
    "RecallInv = 5\n"
    "filetype = xml\n"
    "isCompress = 1\n"
    "******************************************\n";

TEST(ShowCloudConfig, PrintsTheBlockWithoutTheForwardingChannel) {
    CSysSet set;
    const ST_CLOUDSERVER_CONFIG_ATTR cloud = SomeCloud();
    EXPECT_EQ(kCloudBlock, Printed([&] { EXPECT_EQ(0, set.ShowCloudConfig(&cloud)); }));
}

TEST(ShowCloudConfig, OfTheObjectPrintsItsAddressFirst) {
    CSysSet set;
    *set.GetCloudConfigAttr() = SomeCloud();
    char first[100];
    std::snprintf(first, sizeof first, "The address of m_cloudConfigInfo is %p\n",
                  static_cast<void *>(set.GetCloudConfigAttr()));
    EXPECT_EQ(std::string(first) + kCloudBlock,
              Printed([&] { EXPECT_EQ(0, set.ShowCloudConfig()); }));
}

TEST(ShowGateWayInfo, PrintsTheBlock) {
    CSysSet set;
    ST_GATEWAY_INFO &info = *set.GetGateWayAttr();
    std::strcpy(info.stationName, "s");
    std::strcpy(info.version, "v");
    std::strcpy(info.roomName, "r");
    std::strcpy(info.roomDesc, "rd");
    std::strcpy(info.gateWayName, "g");
    std::strcpy(info.address, "a");
    std::strcpy(info.ownerName, "o");
    std::strcpy(info.ownerDesc, "od");
    std::strcpy(info.longitude, "1");
    std::strcpy(info.latitude, "2");
    const std::string block =
        "*************** GateWay Info ***************\n"
        "stationName=s\n"
        "version = v\n"
        "roomName=r\n"
        "roomDesc=rd\n"
        "gateWayName=g\n"
        "address=a\n"
        "ownerName=o\n"
        "ownerDesc=od\n"
        "longitude=1,latitude =2\n"
        "******************************************\n";
    EXPECT_EQ(block, Printed([&] { EXPECT_EQ(0, set.ShowGateWayInfo(&info)); }));
    char first[100];
    std::snprintf(first, sizeof first, "The address of m_gateWayInfo is %p\n",
                  static_cast<void *>(&info));
    EXPECT_EQ(first + block, Printed([&] { EXPECT_EQ(0, set.ShowGateWayInfo()); }));
}

TEST(ShowHttpsCertInfo, PrintsTheBlockWithThePasswordInClearAndNoAddress) {
    CSysSet set;
    ST_HTTPS_CERT_INFO &https = *set.GetHttpsCertInfo();
    https.checked = 1;
    std::strcpy(https.certfile, "/c");
    std::strcpy(https.user, "u");
    std::strcpy(https.passwd, "secret");
    const char *const block =
        "*************** HTTPS Cert Info ***************\n"
        "checked=1\n"
        "certfile=/c\n"
        "user = u\n"
        "passwd=secret\n"
        "******************************************\n";
    EXPECT_EQ(block, Printed([&] { EXPECT_EQ(0, set.ShowHttpsCertInfo()); }));
    EXPECT_EQ(block, Printed([&] { EXPECT_EQ(0, set.ShowHttpsCertInfo(&https)); }));
}

TEST(Show, ANullRecordIsPrintedAndFails) {
    CSysSet set;
    EXPECT_EQ("Err,The Pointer of CloudConfigInfo is NULL\n",
              Printed([&] { EXPECT_EQ(-1, set.ShowCloudConfig(nullptr)); }));
    EXPECT_EQ("Err,The Pointer of GateWayInfo is NULL\n",
              Printed([&] { EXPECT_EQ(-1, set.ShowGateWayInfo(nullptr)); }));
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(-1, set.ShowHttpsCertInfo(nullptr)); }));
}

}  // namespace
}  // namespace corvenna::test
