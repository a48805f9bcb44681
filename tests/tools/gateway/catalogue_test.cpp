#include "tools/gateway/catalogue.h"

#include <gtest/gtest.h>

#include <cmath>

namespace corvenna::test {
namespace {

using namespace gateway;

constexpr std::uint32_t kFirst = 0x01020000;
constexpr std::uint32_t kSecond = 0x01020001;
constexpr std::uint32_t kStatus = 0x01020100;

MAP_CHANNEL_POINT OneDevice(std::uint8_t channel = 1) {
    return ToPointTree({{channel,
                         2,
                         "Meter",
                         "",
                         "",
                         {{PointType::kAnalogueInput, 0, "Ua", "V"},
                          {PointType::kAnalogueInput, 1, "Ub", "V"},
                          {PointType::kDigitalInput, 0, "Comm_Status", ""}}}});
}

struct IdCase {
    std::uint8_t channel, address;
    PointType type;
    std::uint16_t number;
    std::uint32_t id;
};

class DataIds : public testing::TestWithParam<IdCase> {};

TEST_P(DataIds, HoldChannelAddressTypeAndNumber) {
    const IdCase &c = GetParam();
    EXPECT_EQ(DataId(c.channel, c.address, c.type, c.number), c.id);
}

INSTANTIATE_TEST_SUITE_P(
    Examples, DataIds,
    testing::Values(IdCase{1, 3, PointType::kDigitalInput, 0x123, 0x01031123},
                    IdCase{1, 1, PointType::kAnalogueInput, 0, 0x01010000},
                    IdCase{2, 5, PointType::kCounter, 255, 0x020502FF},
                    IdCase{255, 255, PointType::kAnalogueInput, 4095, 0xFFFFF0FF},
                    IdCase{1, 1, PointType::kAnalogueInput, 4096, 0x01010000}));

TEST(CompleteSample, KeepsWhatWasReadAndSaysThatTheDeviceIsUp) {
    EXPECT_EQ(CompleteSample({{kFirst, 230}, {kSecond, 231}}, OneDevice()),
              (Values{{kFirst, 230}, {kSecond, 231}, {kStatus, 1}}));
}

TEST(CompleteSample, GivesMinusOneToAPointThatWasNotRead) {
    EXPECT_EQ(CompleteSample({{kSecond, 231}}, OneDevice()),
              (Values{{kFirst, -1}, {kSecond, 231}, {kStatus, 1}}));
}

TEST(CompleteSample, SaysThatADeviceIsDownWhenNothingOfItWasRead) {
    EXPECT_EQ(CompleteSample({}, OneDevice()), (Values{{kFirst, -1}, {kSecond, -1}, {kStatus, 0}}));
}

TEST(CompleteSample, TakesAStatusThatTheSourceTells) {
    EXPECT_EQ(CompleteSample({{kFirst, 1}, {kSecond, 2}, {kStatus, 0}}, OneDevice())[kStatus], 0);
}

TEST(CompleteSample, DropsPointsThatAreNotConfigured) {
    EXPECT_EQ(CompleteSample({{0x09090000, 1}}, OneDevice()).count(0x09090000), 0U);
}

TEST(CompleteSample, TakesANumberThatIsNoneAsNotRead) {
    EXPECT_EQ(CompleteSample({{kFirst, std::nan("")}, {kSecond, INFINITY}}, OneDevice()),
              (Values{{kFirst, -1}, {kSecond, -1}, {kStatus, 0}}));
}

TEST(CompleteSample, HasAStatusForADeviceWhoseConfigurationHasNone) {
    MAP_CHANNEL_POINT points = OneDevice();
    points[1][2].erase(kStatus);
    EXPECT_EQ(CompleteSample({{kFirst, 1}}, points)[kStatus], 1);
}

TEST(PointNames, AreDeviceAndPoint) {
    const Catalogue devices = {
        {1, 2, "Meter", "", "", {{PointType::kAnalogueInput, 1, "Ua", "V"}}}};
    EXPECT_EQ(PointNames(devices), (std::map<std::string, std::uint32_t>{{"Meter/Ua", kSecond}}));
}

}  // namespace
}  // namespace corvenna::test
