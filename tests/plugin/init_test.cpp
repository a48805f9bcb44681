#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "config/channel_set.h"
#include "config/forward_config.h"
#include "config/sn_set.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/plugin/configuration.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"
#include "tests/support/pauses.h"

namespace corvenna::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kPort = 8080;

class InitTest : public testing::Test {
protected:
    int InitWith(const Configuration &configuration) {
        configuration.Write();
        return Init(&info_);
    }
    std::vector<std::int32_t> Intervals() const {
        return {info_.RealDataInv, info_.AlarmDataInv, info_.HeartBeatInv, info_.CheckFailInv,
                info_.RecallInv};
    }

    const LogCapture log_;
    const PauseRecorder pauses_;
    Interval_info info_{7, 7, 7, 7, 7};
};

TEST_F(InitTest, HandsOutTheFiveIntervalsInTheirOrder) {
    EXPECT_EQ(InitWith(GatewayOn(kPort)), 0);
    EXPECT_THAT(Intervals(), ElementsAre(60, 61, 62, 63, 64));
}

TEST_F(InitTest, LogsItsStartToTheDatabaseAndTheScheduleToTheText) {
    InitWith(GatewayOn(kPort));
    EXPECT_THAT(log_.Database(), ElementsAre(LogEntry{3, "Corvenna Start running"}));
    EXPECT_THAT(log_.Text(),
                ElementsAre(LogEntry{3, "Corvenna is Set on"},
                            LogEntry{3,
                                     "realdata timeinv = 60,alarm timeinv = 61,heartbeat timeinv = "
                                     "62,checkfail timeinv = 63,recall timeinv = 64"}));
}

TEST_F(InitTest, ClosesEveryDocumentAndKeepsWhatItSaid) {
    InitWith(GatewayOn(kPort));
    EXPECT_EQ(GetCSysSetInstance()->IsOpen(), -1);
    EXPECT_EQ(GetCsnSetInstance()->IsOpen(), -1);
    EXPECT_EQ(GetCForwardConfigInstance()->IsOpen(), -1);
    EXPECT_EQ(GetCChannelSetInstance()->IsOpen(), -1);
    EXPECT_STREQ(GetCSysSetInstance()->GetCloudConfigAttr()->cloudip, "127.0.0.1");
    EXPECT_STREQ(GetCsnSetInstance()->GetSn(), "GW4567");
    ST_DEV_ATTR *device = nullptr;
    EXPECT_EQ(GetCChannelSetInstance()->GetAttr(static_cast<unsigned short>(0x0201), &device), 0);
}

TEST_F(InitTest, NullRecordFailsAfterTheLogHasStarted) {
    GatewayOn(kPort).Write();
    EXPECT_EQ(Init(nullptr), -1);
    EXPECT_THAT(log_.Text(), ElementsAre(LogEntry{5, "Interval_info pointer is null"}));
    EXPECT_THAT(log_.Database(), IsEmpty());
    EXPECT_EQ(access("/tmp/CloudLog", F_OK), 0);
    EXPECT_STREQ(GetCsnSetInstance()->GetSn(), "") << "no file may have been loaded";
}

TEST_F(InitTest, IntervalsAreSignExtended) {
    Configuration configuration = GatewayOn(kPort);
    configuration.cloud =
        R"(checked="1" RealDataInv="-1" AlarmDataInv="65535" HeartInterval="-2" FailInterval="-3")";
    EXPECT_EQ(InitWith(configuration), 0);
    EXPECT_THAT(Intervals(), ElementsAre(-1, -1, -2, -3, -1));
    EXPECT_THAT(log_.Text(),
                Contains(LogEntry{3,
                                  "realdata timeinv = -1,alarm timeinv = -1,heartbeat timeinv = "
                                  "-2,checkfail timeinv = -3,recall timeinv = -1"}));
}

TEST_F(InitTest, ServiceOffFillsTheRecordWithFfAndIsNoFailure) {
    Configuration configuration = GatewayOn(kPort);
    configuration.cloud = R"(checked="0" RealDataInv="60")";
    EXPECT_EQ(InitWith(configuration), 0);
    EXPECT_THAT(Intervals(), ElementsAre(-1, -1, -1, -1, -1));
    EXPECT_THAT(log_.Text(),
                ElementsAre(LogEntry{3, "Corvenna is Set off "},
                            LogEntry{3,
                                     "realdata timeinv = -1,alarm timeinv = -1,heartbeat timeinv = "
                                     "-1,checkfail timeinv = -1,recall timeinv = -1"}));
}

TEST_F(InitTest, AnyNonZeroSwitchIsOn) {
    Configuration configuration = GatewayOn(kPort);
    configuration.cloud = R"(checked="2" RealDataInv="60")";
    EXPECT_EQ(InitWith(configuration), 0);
    EXPECT_THAT(log_.Text(), Contains(LogEntry{3, "Corvenna is Set on"}));
}

TEST_F(InitTest, RejectedSystemSettingsLeaveTheServiceOff) {
    GatewayOn(kPort).Write();
    WriteFile("/quorvane/Config/sys.xml", "<SysConfig/>");
    EXPECT_EQ(Init(&info_), 0);
    EXPECT_THAT(Intervals(), ElementsAre(-1, -1, -1, -1, -1));
}

TEST_F(InitTest, TheRecordMayLieAtAnyAddressAndNothingAroundItIsTouched) {
    GatewayOn(kPort).Write();
    for (std::size_t offset = 0; offset < 4; ++offset) {
        unsigned char bytes[32];
        std::memset(bytes, 0x5A, sizeof bytes);
        ASSERT_EQ(Init(reinterpret_cast<Interval_info *>(bytes + offset)), 0);
        const std::int32_t expected[] = {60, 61, 62, 63, 64};
        EXPECT_EQ(std::memcmp(bytes + offset, expected, sizeof expected), 0) << offset;
        for (std::size_t i = 0; i < sizeof bytes; ++i) {
            if (i < offset || i >= offset + sizeof expected) {
                EXPECT_EQ(bytes[i], 0x5A) << offset << " " << i;
            }
        }
    }
}

TEST_F(InitTest, MakesTheDownloadMutexFree) {
    InitWith(GatewayOn(kPort));
    EXPECT_EQ(pthread_mutex_trylock(&down_file_mutex), 0);
    EXPECT_NE(pthread_mutex_trylock(&down_file_mutex), 0);
    EXPECT_EQ(pthread_mutex_unlock(&down_file_mutex), 0);
}

struct MissingFile {
    const char *name;
    const char *path;
    const char *failure;
    const char *ownMessage;  ///< of the loader that fails
};

class MissingFileTest : public InitTest, public testing::WithParamInterface<MissingFile> {};

TEST_P(MissingFileTest, EndsInitWithItsMessageAndLeavesTheLaterFilesUnopened) {
    GatewayOn(kPort).Write();
    const std::vector<std::string> files = {
        "/quorvane/Config/sys.xml", "/quorvane/Config/system/sn.xml",
        "/quorvane/Config/forward_config.xml", "/quorvane/Config/Channel-template.xml"};
    // The file itself and all later ones are missing: whoever opened a later one would say so.
    bool from = false;
    for (const std::string &file : files) {
        from = from || file == GetParam().path;
        if (from) {
            ASSERT_EQ(unlink(file.c_str()), 0);
        }
    }
    EXPECT_EQ(Init(&info_), -1);
    EXPECT_THAT(log_.Text(),
                ElementsAre(LogEntry{5, GetParam().ownMessage}, LogEntry{5, GetParam().failure}));
    EXPECT_THAT(Intervals(), ElementsAre(7, 7, 7, 7, 7));
}

INSTANTIATE_TEST_SUITE_P(
    Files, MissingFileTest,
    testing::Values(MissingFile{"Sys", "/quorvane/Config/sys.xml", "Parse sys.xml failed",
                                "parsed /quorvane/Config/sys.xml failed"},
                    MissingFile{"Sn", "/quorvane/Config/system/sn.xml", "Parse sn.xml failed",
                                "parse Document /quorvane/Config/system/sn.xml failed"},
                    MissingFile{"Forward", "/quorvane/Config/forward_config.xml",
                                "Parse forward-config.xml failed",
                                "Document /quorvane/Config/forward_config.xml parsed failed."},
                    MissingFile{"Channel", "/quorvane/Config/Channel-template.xml",
                                "Parse Channel-template.xml failed",
                                "Document /quorvane/Config/Channel-template.xml parsed failed."}),
    [](const auto &row) { return row.param.name; });

TEST_F(InitTest, WhatWasLoadedBeforeAFailureStays) {
    GatewayOn(kPort).Write();
    ASSERT_EQ(unlink("/quorvane/Config/system/sn.xml"), 0);
    EXPECT_EQ(Init(&info_), -1);
    EXPECT_EQ(GetCSysSetInstance()->GetCloudConfigAttr()->checked, 1);
}

TEST(HeartBeat, IsAlwaysWellAlsoBeforeInit) {
    const LogCapture log;
    EXPECT_EQ(SyncHeartBeat(), 0);
    EXPECT_THAT(log.Text(), IsEmpty());
}

}  // namespace
}  // namespace corvenna::test
