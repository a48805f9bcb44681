// Every allocation of every body fails once, alone and with all that follow it.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <tuple>

#include "config/channel_set.h"
#include "config/sys_set.h"
#include "message/pack_memory.h"
#include "plugin/instances.h"
#include "tests/support/failing_allocations.h"

namespace {

int gErrors = 0;

}  // namespace

/// Needs no memory, other than a capture of messages.
extern "C" int __wrap_log_Text(int level, const char * /*format*/, ...) {
    gErrors += level == 5 ? 1 : 0;
    return 1;
}

namespace corvenna::test {
namespace {

int MakeGateway(const char *format, char *out, int capacity) {
    return GetCPackMemoryInstance()->CreateGateWayInfoMemory(format, out, capacity);
}

int MakeDevices(const char *format, char *out, int capacity) {
    return GetCPackMemoryInstance()->CreateDevicesMemory(format, out, capacity);
}

int MakeStatus(const char *format, char *out, int capacity) {
    return GetCPackMemoryInstance()->CreatePutDownStatusMemory(format, out, capacity, "0cc1", 2);
}

int MakeRecall(const char *format, char *out, int capacity) {
    const recall_time_para range{0, 3600};
    return GetCPackMemoryInstance()->CreateDelReCallMemory(format, out, capacity, &range);
}

using MakeBody = int (*)(const char *format, char *out, int capacity);

class BodyMemory
    : public testing::TestWithParam<std::tuple<MakeBody, const char *, bool, Failing>> {
protected:
    BodyMemory() {
        GetCSysSetInstance()->GetCloudConfigAttr()->isCompress = std::get<2>(GetParam()) ? 1 : 0;
        for (int slave = 0; slave < 100; ++slave) {
            ST_POINTID_ATTR point{};
            point.GroupNo = 1;
            point.DevId = static_cast<std::uint8_t>(slave);
            point.db_link = static_cast<std::uint32_t>(1 << 24 | slave << 16);
            GetCChannelSetInstance()->AddSamplePoint(point);
        }
    }

    int Make() { return std::get<0>(GetParam())(std::get<1>(GetParam()), buffer_, sizeof buffer_); }

    void ExpectBody(const std::string &expected) {
        EXPECT_EQ(std::string(buffer_, expected.size()), expected);
        EXPECT_EQ(gErrors, 0);
    }

    char buffer_[20480] = {};
};

INSTANTIATE_TEST_SUITE_P(Bodies, BodyMemory,
                         testing::Combine(testing::Values(MakeGateway, MakeDevices, MakeStatus,
                                                          MakeRecall),
                                          testing::Values("json", "xml"), testing::Bool(),
                                          testing::Values(Failing::kOne, Failing::kFromThereOn)));

TEST_P(BodyMemory, IsWholeOrMinusOneWithOneErrorAndTheNextOneIsWhole) {
    const int length = Make();
    ASSERT_GT(length, 0);
    const std::string expected(buffer_, static_cast<std::size_t>(length));
    int result = 0;
    std::ptrdiff_t blocks = 0;
    const std::size_t failures = FailEachAllocation(
        std::get<3>(GetParam()),
        [&] {
            gErrors = 0;
            blocks = LiveBlocks();
        },
        [&] { result = Make(); },
        [&] {
            EXPECT_EQ(LiveBlocks(), blocks);
            if (result == -1) {
                EXPECT_EQ(gErrors, 1);
            } else {
                EXPECT_EQ(result, length);
                ExpectBody(expected);
            }
            gErrors = 0;
            EXPECT_EQ(Make(), length);
            ExpectBody(expected);
        });
    EXPECT_GT(failures, 0U);
    std::printf("%zu allocations failed\n", failures);
}

TEST(BodyOfBrokenUtf8, KeepsNoMemory) {
    for (int slave = 1; slave <= 3; ++slave) {
        ST_DEV_ATTR dev{};
        dev.ChannelNo = 1;
        dev.SlaveId = static_cast<std::uint8_t>(slave);
        dev.Desc[0] = '\xff';
        GetCChannelSetInstance()->AddDev(dev);
        ST_POINTID_ATTR point{};
        point.GroupNo = 1;
        point.DevId = dev.SlaveId;
        GetCChannelSetInstance()->AddSamplePoint(point);
    }
    char buffer[2048];
    ASSERT_GT(MakeDevices("xml", buffer, sizeof buffer), 0);
    const std::ptrdiff_t blocks = LiveBlocks();
    MakeDevices("xml", buffer, sizeof buffer);
    EXPECT_EQ(LiveBlocks(), blocks);
    EXPECT_NE(std::string(buffer).find("id=\"2\" desc=\"\xff\" name=\"\""), std::string::npos);
}

}  // namespace
}  // namespace corvenna::test
