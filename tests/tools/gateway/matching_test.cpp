#include "tools/gateway/matching.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/text.h"

namespace corvenna::test {
namespace {

using namespace gateway;
using testing::ElementsAre;
using testing::Pair;

constexpr std::uint32_t kUa = 0x01010000;
constexpr std::uint32_t kUb = 0x01010001;
constexpr std::uint32_t kStatus = 0x01010100;

Point Analogue(std::uint16_t number, const char *name) {
    return {PointType::kAnalogueInput, number, name, "V"};
}

Point Status() {
    return {PointType::kDigitalInput, 0, "Comm_Status", ""};
}

Device Meter(std::uint8_t channel, std::uint8_t address, std::vector<Point> points,
             const char *name = "Meter") {
    return {channel, address, name, "", "", std::move(points)};
}

class FixedSource : public Source {
public:
    FixedSource(Catalogue devices, Values values)
        : devices_(std::move(devices)), values_(std::move(values)) {}
    const Catalogue &Devices() const override { return devices_; }
    Values Read(std::time_t) override { return values_; }

private:
    Catalogue devices_;
    Values values_;
};

const Catalogue kConfigured = {Meter(1, 1, {Analogue(0, "Ua"), Analogue(1, "Ub"), Status()})};

TEST(Matching, FindsPointsByTheirNamesWhateverTheirNumbers) {
    FixedSource source({Meter(7, 9, {Analogue(0, "Ub"), Analogue(1, "Ua"), Status()})},
                       {{0x07090000, 2}, {0x07090001, 1}, {0x07090100, 1}});
    MatchedSource matched(source, kConfigured);
    EXPECT_THAT(matched.Unmatched(), ElementsAre());
    EXPECT_THAT(matched.Read(0).values, ElementsAre(Pair(kUa, 1), Pair(kUb, 2), Pair(kStatus, 1)));
}

TEST(Matching, KeepsValuesWithoutAPointUnderTheirNamesAndSaysSo) {
    FixedSource source({Meter(1, 1, {Analogue(0, "Uc"), Analogue(1, "Ua"), Analogue(2, "Ub")})},
                       {{0x01010000, 3}, {0x01010001, 1}, {0x01010002, 2}});
    MatchedSource matched(source, kConfigured);
    EXPECT_THAT(matched.Unmatched(),
                ElementsAre("'Meter/Uc' of the source is no point of the configuration: its values "
                            "stay in the history"));
    const Reading reading = matched.Read(0);
    EXPECT_THAT(reading.values, ElementsAre(Pair(kUa, 1), Pair(kUb, 2)));
    EXPECT_THAT(reading.others, ElementsAre(Pair("Meter/Uc", 3)));
}

TEST(Matching, NamesEveryPointWithoutASource) {
    FixedSource source({Meter(1, 1, {Analogue(0, "Ua")})}, {});
    EXPECT_THAT(MatchedSource(source, kConfigured).Unmatched(),
                ElementsAre("'Meter/Ub' (01010001) of the configuration is no point of the source: "
                            "it has no value"));
}

TEST(Matching, TakesNothingOfAnotherDeviceWithTheSameNumbers) {
    FixedSource source({Meter(1, 1, {Analogue(0, "Usage"), Analogue(1, "User")}, "Processor")},
                       {{kUa, 1}, {kUb, 2}});
    MatchedSource matched(source, kConfigured);
    EXPECT_EQ(matched.Unmatched().size(), 4U);
    EXPECT_THAT(matched.Read(0).values, ElementsAre());
}

TEST(Matching, FindsWhatIsCalledByItsDataIdByThatAlone) {
    Point first = Analogue(1, "Ua");  // the name of another
    Point second = Analogue(9, "Ub");
    Point status = Status();
    first.isById = second.isById = status.isById = true;
    FixedSource source({Meter(1, 1, {status, first, second}, "Device1-1")},
                       {{kUb, 2}, {0x01010009, 9}, {kStatus, 0}});
    MatchedSource matched(source, kConfigured);
    EXPECT_THAT(matched.Read(0).values, ElementsAre(Pair(kUb, 2), Pair(kStatus, 0)));
    EXPECT_THAT(matched.Read(0).others, ElementsAre(Pair("01010009", 9)));
}

TEST(Matching, OfSeveralPointsWithOneNameTheOneWithTheSameIdIsMeant) {
    const Catalogue configured = {Meter(1, 1, {Analogue(0, "Ua")}),
                                  Meter(2, 1, {Analogue(0, "Ua")})};
    FixedSource same({Meter(2, 1, {Analogue(0, "Ua")})}, {{0x02010000, 5}});
    EXPECT_THAT(MatchedSource(same, configured).Read(0).values, ElementsAre(Pair(0x02010000, 5)));
    FixedSource other({Meter(3, 1, {Analogue(0, "Ua")})}, {{0x03010000, 5}});
    EXPECT_THAT(MatchedSource(other, configured).Read(0).values, ElementsAre());
}

TEST(Matching, TwoPointsOfASourceNeverShareOneOfTheConfiguration) {
    Point byId = Analogue(0, "Point 0");
    byId.isById = true;
    FixedSource source({Meter(1, 1, {byId}, "Device1-1"), Meter(9, 9, {Analogue(5, "Ua")})},
                       {{kUa, 1}, {0x09090005, 2}});
    MatchedSource matched(source, kConfigured);
    EXPECT_THAT(matched.Read(0).values, ElementsAre(Pair(kUa, 1)));
    EXPECT_THAT(matched.Read(0).others, ElementsAre(Pair("Meter/Ua", 2)));
}

TEST(Matching, TheLoadedConfigurationHasTheNamesOfItsDevices) {
    MAP_DEV_ATTR devices;
    CopyText<127>(devices[0x0101].DeviceName, "Meter");
    const Catalogue loaded = ToCatalogue(ToPointTree(kConfigured), devices);
    ASSERT_EQ(loaded.size(), 1U);
    EXPECT_EQ(loaded[0].name, "Meter");
    EXPECT_EQ(loaded[0].points.size(), 3U);
    EXPECT_EQ(DataId(loaded[0], loaded[0].points[1]), kUb);
}

}  // namespace
}  // namespace corvenna::test
