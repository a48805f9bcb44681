#include <gtest/gtest.h>

#include <string>

#include "config/channel_set.h"
#include "config/data_id.h"
#include "log/log.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/quorvane/Config/meter.xml";

ST_DEV_ATTR Device(int channel, int slave, const std::string &path = kPath) {
    ST_DEV_ATTR dev{};
    path.copy(dev.Name, sizeof dev.Name - 1);
    dev.ChannelNo = static_cast<std::uint8_t>(channel);
    dev.SlaveId = static_cast<std::uint8_t>(slave);
    return dev;
}

MAP_POINTID_ATTR Points(CChannelSet &set) {
    MAP_POINTID_ATTR *points = nullptr;
    set.GetAttr(&points);
    return *points;
}

MAP_POINTID_ATTR Load(const std::string &properties, int channel = 1, int slave = 3) {
    WriteFile(kPath, "<DevConfig>" + properties + "</DevConfig>");
    CChannelSet set;
    EXPECT_EQ(0, set.LoadDevPointAttr(Device(channel, slave)));
    return Points(set);
}

std::string Property(const std::string &elements) {
    return "<NodeProperty>" + elements + "</NodeProperty>";
}

TEST(DataId, IsMadeOfChannelSlaveTypeAndNumber) {
    EXPECT_EQ(0x01031123U, DataId(1, 3, 1, 0x123));
    EXPECT_EQ(16978211U, DataId(1, 3, 1, 0x123));
    EXPECT_EQ(0xFFFF0000U, DataId(255, 255, 0, 0));
    EXPECT_EQ(0x0000F4FFU, DataId(0, 0, 4, 0xFFF));
    EXPECT_EQ(DataId(1, 1, 0, 0), DataId(1, 1, 0, 4096)) << "bit 12 is dropped";
    EXPECT_NE(DataId(1, 1, 0, 4095), DataId(1, 1, 0, 4096));
}

TEST(Points, EveryAttributeReachesItsField) {
    const MAP_POINTID_ATTR points =
        Load(Property(R"(<DI Num="1"><Node Id="291" Name="Ua" EUUnits="V" x="y"/></DI>)"));
    ASSERT_EQ(1U, points.count(0x01031123));
    const ST_POINTID_ATTR &point = points.at(0x01031123);
    EXPECT_STREQ("Ua", point.Name);
    EXPECT_STREQ("V", point.EUUnits);
    EXPECT_EQ(1, point.GroupNo);
    EXPECT_EQ(3, point.DevId);
    EXPECT_EQ(1, point.type);
    EXPECT_EQ(291, static_cast<int>(point.NodeId));
    EXPECT_EQ(0x01031123U, static_cast<unsigned>(point.db_link));
}

TEST(Points, EachTypeElementHasItsCode) {
    const struct {
        const char *element;
        unsigned code;
    } kTypes[] = {{"AI", 0}, {"DI", 1}, {"ACC", 2}, {"DO", 3}, {"AO", 4}};
    for (const auto &type : kTypes) {
        const std::string name = type.element;
        const MAP_POINTID_ATTR points =
            Load(Property("<" + name + "><Node Id=\"5\"/></" + name + ">"));
        ASSERT_EQ(1U, points.size()) << name;
        EXPECT_EQ(0x01030005 + (type.code << 8), points.begin()->first) << name;
        EXPECT_EQ(type.code, points.begin()->second.type);
    }
}

TEST(Points, OtherElementsAreSkipped) {
    EXPECT_TRUE(Load(Property("<ai><Node Id=\"1\"/></ai><XX><Node Id=\"2\"/></XX>")).empty());
    EXPECT_TRUE(Load("<AI><Node Id=\"1\"/></AI>").empty());
    EXPECT_TRUE(Load(Property("<AI><node Id=\"1\"/></AI>")).empty());
    EXPECT_TRUE(Load("").empty());
}

TEST(Points, TheDeclaredCountIsNotLookedAt) {
    EXPECT_EQ(2U, Load(Property(R"(<AI Num="9"><Node Id="1"/><Node Id="2"/></AI>)")).size());
    EXPECT_EQ(1U, Load(Property(R"(<AI Num="none"><Node Id="1"/></AI>)")).size());
}

TEST(Points, ANodeInheritsWhatItOmits) {
    const MAP_POINTID_ATTR points =
        Load(Property(R"(<AI><Node Id="1" Name="a" EUUnits="V"/><Node Id="2"/></AI>)"
                      R"(<DI><Node Id="3" Name="b"/></DI>)"));
    EXPECT_STREQ("a", points.at(0x01030002).Name);
    EXPECT_STREQ("V", points.at(0x01030002).EUUnits);
    EXPECT_STREQ("b", points.at(0x01030103).Name);
    EXPECT_STREQ("V", points.at(0x01030103).EUUnits);
}

TEST(Points, ANodeWithoutAnIdReplacesTheOneBefore) {
    const MAP_POINTID_ATTR points =
        Load(Property(R"(<AI><Node Id="1" Name="a"/><Node Name="b"/></AI>)"));
    ASSERT_EQ(1U, points.size());
    EXPECT_STREQ("b", points.at(0x01030001).Name);
}

TEST(Points, ANodeWithoutAnIdKeepsTheDataIdOfAnotherType) {
    const MAP_POINTID_ATTR points =
        Load(Property(R"(<AI><Node Id="1" Name="a"/></AI><DI><Node Name="b"/></DI>)"));
    ASSERT_EQ(1U, points.size());
    EXPECT_STREQ("b", points.at(0x01030001).Name);
    EXPECT_EQ(1, points.at(0x01030001).type) << "the type is the enclosing element's";
}

TEST(Points, TheFirstNodeStartsFromAnEmptyRecord) {
    const MAP_POINTID_ATTR points = Load(Property("<AI><Node/></AI>"));
    ASSERT_EQ(1U, points.count(0));
    EXPECT_STREQ("", points.at(0).Name);
    EXPECT_EQ(1, points.at(0).GroupNo);
}

TEST(Points, NumbersAbove4095FoldTogether) {
    const MAP_POINTID_ATTR points =
        Load(Property(R"(<AI><Node Id="0" Name="zero"/><Node Id="4096" Name="fold"/>)"
                      R"(<Node Id="4095"/></AI>)"));
    ASSERT_EQ(2U, points.size());
    EXPECT_STREQ("fold", points.at(0x01030000).Name);
    EXPECT_EQ(4096, static_cast<int>(points.at(0x01030000).NodeId));
    EXPECT_EQ(1U, points.count(0x0103F0FF));
}

TEST(Points, ANumberKeepsItsLowSixteenBits) {
    const MAP_POINTID_ATTR points = Load(Property(R"(<AI><Node Id="65537"/></AI>)"));
    EXPECT_EQ(1, static_cast<int>(points.at(0x01030001).NodeId));
}

TEST(Points, TextsKeep126Characters) {
    for (const std::size_t length : {125U, 126U, 127U, 128U, 2000U}) {
        const std::string text(length, 'p');
        const MAP_POINTID_ATTR points = Load(
            Property("<AI><Node Id=\"1\" Name=\"" + text + "\" EUUnits=\"" + text + "\"/></AI>"));
        EXPECT_EQ(text.substr(0, 126), points.at(0x01030001).Name);
        EXPECT_EQ(text.substr(0, 126), points.at(0x01030001).EUUnits);
    }
}

TEST(Points, AreStoredInBothMaps) {
    WriteFile(kPath,
              "<DevConfig>" + Property(R"(<AI><Node Id="7" Name="a"/></AI>)") + "</DevConfig>");
    CChannelSet set;
    set.LoadDevPointAttr(Device(1, 3));
    MAP_CHANNEL_POINT *tree = nullptr;
    set.GetAttr(&tree);
    EXPECT_STREQ("a", tree->at(1).at(3).at(0x01030007).Name);
    EXPECT_STREQ("a", Points(set).at(0x01030007).Name);
}

TEST(Points, OfTwoFilesForOneDeviceOverwriteEachOther) {
    WriteFile(kPath, "<DevConfig>" + Property(R"(<AI><Node Id="7" Name="a"/><Node Id="8"/></AI>)") +
                         "</DevConfig>");
    CChannelSet set;
    set.LoadDevPointAttr(Device(1, 3));
    WriteFile("/quorvane/Config/other.xml",
              "<DevConfig>" + Property(R"(<AI><Node Id="7" Name="b"/></AI>)") + "</DevConfig>");
    set.LoadDevPointAttr(Device(1, 3, "/quorvane/Config/other.xml"));
    MAP_CHANNEL_POINT *tree = nullptr;
    set.GetAttr(&tree);
    EXPECT_EQ(2U, Points(set).size());
    EXPECT_STREQ("b", Points(set).at(0x01030007).Name);
    EXPECT_STREQ("b", tree->at(1).at(3).at(0x01030007).Name);
}

TEST(Points, AreReplacedInAnyOrderOfTheirNumbers) {
    const MAP_POINTID_ATTR points = Load(Property(
        R"(<AI><Node Id="9" Name="a"/><Node Id="1" Name="b"/><Node Id="9" Name="c"/></AI>)"));
    EXPECT_EQ(2U, points.size());
    EXPECT_STREQ("c", points.at(0x01030009).Name);
    EXPECT_STREQ("b", points.at(0x01030001).Name);
}

TEST(Points, EntitiesInTextsAreResolved) {
    const MAP_POINTID_ATTR points =
        Load(Property(R"(<AI><Node Id="1" Name="a&lt;&#98;&amp;" EUUnits="&#xB0;C"/></AI>)"));
    EXPECT_STREQ("a<b&", points.at(0x01030001).Name);
    EXPECT_STREQ(
        "\xC2\xB0"
        "C",
        points.at(0x01030001).EUUnits);
}

TEST(Points, FilesThatCannotBeUsedAreLoggedAndFail) {
    const LogCapture log;
    CChannelSet set;
    WriteFile(kPath, "<DevConfig>");
    EXPECT_EQ(-1, set.LoadDevPointAttr(Device(1, 1)));
    EXPECT_EQ(-1, set.LoadDevPointAttr(Device(1, 1, "/missing.xml")));
    EXPECT_EQ(-1, set.LoadDevPointAttr(Device(1, 1, "")));
    WriteFile(kPath, "<devConfig/>");
    EXPECT_EQ(-1, set.LoadDevPointAttr(Device(1, 1)));
    EXPECT_EQ((std::vector<LogEntry>{
                  {kLogError, "[LoadDevPointAttr]: parsed Parse failed"},
                  {kLogError, "[LoadDevPointAttr]: parsed Parse failed"},
                  {kLogError, "[LoadDevPointAttr]: parsed Parse failed"},
                  {kLogError, "[LoadDevPointAttr]:  wrong type, root node != DevConfig"}}),
              log.Text());
    EXPECT_TRUE(Points(set).empty());
}

}  // namespace
}  // namespace corvenna::test
