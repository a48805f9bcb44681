#include "config/forward_config.h"

#include <gtest/gtest.h>

#include <string>

#include "log/log.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/quorvane/Config/forward_config.xml";

int Load(CForwardConfig &config, const std::string &xml) {
    WriteFile(kPath, xml);
    return config.Open(kPath);
}

MAP_FORWARD Loaded(const std::string &channels) {
    CForwardConfig config;
    EXPECT_EQ(0, Load(config, "<Fwd_srv>" + channels + "</Fwd_srv>"));
    return config.GetForwardMap();
}

std::string Table(const std::string &attributes, const std::string &points) {
    return "<Fwd_chan " + attributes + "><Fwd_tbl>" + points + "</Fwd_tbl></Fwd_chan>";
}

constexpr char kModbus7[] = R"(lnk_p="MODBUS_TCP" addr="7")";

TEST(ForwardConfig, APointIsFiledUnderItsChannelsAddressAndItsDataId) {
    EXPECT_EQ((MAP_FORWARD{{7, {{1, {{3, {{"Ua", 0x01031123}}}}}}}}),
              Loaded(Table(kModbus7, R"(<pt PointName="Ua" db_link="0x01031123"/>)")));
}

TEST(ForwardConfig, DataIdsAreHexadecimalWithOrWithoutAPrefix) {
    EXPECT_EQ(
        (MAP_FORWARD{
            {7, {{0, {{0, {{"bad", 0}}}}}, {1, {{3, {{"a", 0x01031123}, {"b", 0x01031124}}}}}}}}),
        Loaded(Table(kModbus7, R"(<pt PointName="a" db_link="01031123"/>)"
                               R"(<pt PointName="b" db_link="0X01031124"/>)"
                               R"(<pt PointName="bad" db_link="xyz"/>)")));
}

TEST(ForwardConfig, TheLaterOfTwoEqualNamesWins) {
    EXPECT_EQ((MAP_FORWARD{{7, {{1, {{3, {{"Ua", 0x01030002}}}}}}}}),
              Loaded(Table(kModbus7, R"(<pt PointName="Ua" db_link="01030001"/>)"
                                     R"(<pt PointName="Ua" db_link="01030002"/>)")));
}

TEST(ForwardConfig, OnlyModbusTcpTablesAreRead) {
    for (const char *protocol : {"IEC104", "modbus_tcp", "MODBUS_TCP ", "MODBUS", ""}) {
        SCOPED_TRACE(protocol);
        EXPECT_EQ(MAP_FORWARD{}, Loaded(Table("lnk_p=\"" + std::string(protocol) + "\" addr=\"7\"",
                                              R"(<pt PointName="Ua" db_link="1"/>)")));
    }
}

TEST(ForwardConfig, AChannelWithoutAProtocolAtAllIsNotRead) {
    EXPECT_EQ(MAP_FORWARD{}, Loaded(Table(R"(addr="7")", R"(<pt PointName="U" db_link="1"/>)")));
}

TEST(ForwardConfig, AChannelInheritsProtocolAndAddressFromTheOneBefore) {
    EXPECT_EQ((MAP_FORWARD{{7, {{0, {{0, {{"a", 1}, {"b", 2}}}}}}}, {8, {{0, {{0, {{"c", 3}}}}}}}}),
              Loaded(Table(kModbus7, R"(<pt PointName="a" db_link="1"/>)") +
                     Table("", R"(<pt PointName="b" db_link="2"/>)") +
                     Table(R"(addr="8")", R"(<pt PointName="c" db_link="3"/>)")));
}

TEST(ForwardConfig, TheFirstChannelsAddressIsZeroWhenItHasNone) {
    EXPECT_EQ((MAP_FORWARD{{0, {{0, {{0, {{"a", 1}}}}}}}}),
              Loaded(Table(R"(lnk_p="MODBUS_TCP")", R"(<pt PointName="a" db_link="1"/>)")));
}

TEST(ForwardConfig, AnAddressKeepsItsLowEightBits) {
    EXPECT_EQ(
        (MAP_FORWARD{{44, {{0, {{0, {{"a", 1}}}}}}}}),
        Loaded(Table(R"(lnk_p="MODBUS_TCP" addr="300")", R"(<pt PointName="a" db_link="1"/>)")));
}

TEST(ForwardConfig, APointWithoutANameIsSkipped) {
    EXPECT_EQ(
        (MAP_FORWARD{{7, {{1, {{3, {{"a", 0x01030001}}}}}}}}),
        Loaded(Table(kModbus7, R"(<pt PointName="" db_link="01030009"/><pt db_link="01030008"/>)"
                               R"(<pt/><pt PointName="a" db_link="01030001"/>)")));
}

TEST(ForwardConfig, APointWithoutADataIdIsZeroUnderThePlaceOfTheOneBefore) {
    EXPECT_EQ((MAP_FORWARD{{7, {{1, {{3, {{"a", 0x01030001}, {"b", 0}}}}}}}}),
              Loaded(Table(kModbus7, R"(<pt PointName="a" db_link="01030001"/>)"
                                     R"(<pt PointName="b"/>)")));
}

TEST(ForwardConfig, SkippedPointsPassTheirPlaceOnToo) {
    EXPECT_EQ((MAP_FORWARD{{7, {{2, {{5, {{"b", 0}}}}}}}}),
              Loaded(Table(kModbus7, R"(<pt db_link="02050001"/><pt PointName="b"/>)")));
}

TEST(ForwardConfig, ARootWithoutChildrenIsAnEmptyMap) {
    EXPECT_EQ(MAP_FORWARD{}, Loaded(""));
}

TEST(ForwardConfig, OtherElementsAreSkipped) {
    EXPECT_EQ(MAP_FORWARD{},
              Loaded(R"(<x/><Fwd_chan lnk_p="MODBUS_TCP" addr="7"><pt PointName="a" db_link="1"/>)"
                     R"(<Fwd_tbl><Pt PointName="b" db_link="2"/></Fwd_tbl></Fwd_chan>)"));
}

TEST(ForwardConfig, DocumentsThatCannotBeUsedFailOpen) {
    const LogCapture log;
    CForwardConfig config;
    EXPECT_EQ(-1, Load(config, "<Fwd_srv"));
    EXPECT_EQ(-1, config.Open("/none"));
    EXPECT_EQ(-1, config.Open(nullptr));
    EXPECT_EQ(-1, Load(config, "<fwd_srv/>"));
    EXPECT_EQ(-1, config.IsOpen());
    EXPECT_EQ(-1, config.LoadNodeFromXml());
    EXPECT_EQ((std::vector<LogEntry>{
                  {kLogError, "Document /quorvane/Config/forward_config.xml parsed failed."},
                  {kLogError, "Document /none parsed failed."},
                  {kLogError, "Document  parsed failed."},
                  {kLogError, "[LoadForwardParamFromXml]: Root node is not 'Fwd_srv'"},
                  {kLogError, "[LoadForwardParamFromXml]: Xml document is null"}}),
              log.Text());
}

TEST(ForwardConfig, CloseFreesTheDocumentAndKeepsTheMap) {
    CForwardConfig config;
    EXPECT_EQ(-1, config.Close());
    Load(config,
         "<Fwd_srv>" + Table(kModbus7, R"(<pt PointName="a" db_link="1"/>)") + "</Fwd_srv>");
    EXPECT_EQ(0, config.IsOpen());
    EXPECT_EQ(0, config.Close());
    EXPECT_EQ(-1, config.IsOpen());
    EXPECT_EQ(1U, config.GetForwardMap().size());
}

}  // namespace
}  // namespace corvenna::test
