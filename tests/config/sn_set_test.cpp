#include "config/sn_set.h"

#include <gtest/gtest.h>

#include <string>

#include "log/log.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/quorvane/Config/system/sn.xml";

int Load(CsnSet &set, const std::string &xml) {
    WriteFile(kPath, xml);
    return set.Open(kPath);
}

std::string Document(const std::string &model, const std::string &serial) {
    return "<snConfig><model model=\"" + model + "\"/><sn sn=\"" + serial + "\"/></snConfig>";
}

unsigned Number(CsnSet &set) {
    unsigned number = 4711;
    set.GetSn(&number);
    return number;
}

TEST(SnSet, IsModelOneWithoutASerialUntilLoaded) {
    CsnSet set;
    EXPECT_EQ(1, set.GetModel());
    EXPECT_STREQ("", set.GetSn());
    EXPECT_EQ(0U, Number(set));
}

TEST(SnSet, ModelTextsHaveTheirNumbers) {
    CsnSet set;
    EXPECT_EQ(0, set.ModelToDigit("Varek-A"));
    EXPECT_EQ(1, set.ModelToDigit("Varek-A-G"));
    EXPECT_EQ(2, set.ModelToDigit("Varek-B"));
    EXPECT_EQ(3, set.ModelToDigit("Varek-B-G"));
    EXPECT_EQ(100, set.ModelToDigit("Mosso"));
    EXPECT_EQ(101, set.ModelToDigit("Mosso-G"));
}

TEST(SnSet, AnUnknownModelIsNumberOne) {
    CsnSet set;
    for (const char *model : {"varek-a", "VAREK-A", "Varek-A ", "Varek-C", "", "Mosso-G2"}) {
        EXPECT_EQ(1, set.ModelToDigit(model)) << model;
    }
    EXPECT_EQ(1, set.ModelToDigit(nullptr));
}

struct Identity {
    const char *model;
    const char *serial;
    int modelNumber;
    unsigned serialNumber;
};

TEST(SnSet, TheNumberFollowsTheModelsPrefix) {
    const Identity kIdentities[] = {
        {"Mosso-G", "ABC00123", 101, 123},
        {"Mosso", "ABC7", 100, 7},
        {"Varek-A", "GW4567", 0, 4567},
        {"Varek-A-G", "GW4567", 1, 4567},
        {"Varek-B", "GW1", 2, 1},
        {"Varek-B-G", "GW0", 3, 0},
        {"mosso-g", "ABC00123", 1, 0},
        {"varek-a", "GW12", 1, 12},
        {"Varek-A", "AB", 0, 0},
        {"Varek-A", "A", 0, 0},
        {"Mosso", "A", 100, 0},
        {"Mosso", "AB", 100, 0},
        {"Varek-A", "GW12x9", 0, 12},
        {"Varek-A", "GWx", 0, 0},
        {"Varek-A", "GW2147483647", 0, 2147483647},
    };
    for (const Identity &identity : kIdentities) {
        SCOPED_TRACE(std::string(identity.model) + " " + identity.serial);
        CsnSet set;
        EXPECT_EQ(0, Load(set, Document(identity.model, identity.serial)));
        EXPECT_EQ(identity.modelNumber, set.GetModel());
        EXPECT_STREQ(identity.serial, set.GetSn());
        EXPECT_EQ(identity.serialNumber, Number(set));
    }
}

TEST(SnSet, ASerialTextKeeps18CharactersAndItsNumberAllDigits) {
    for (const std::size_t zeros : {14U, 15U, 16U, 40U}) {
        const std::string serial = "GW" + std::string(zeros, '0') + "42";
        CsnSet set;
        EXPECT_EQ(0, Load(set, Document("Varek-A", serial)));
        EXPECT_EQ(serial.substr(0, 18), set.GetSn());
        EXPECT_EQ(42U, Number(set));
    }
}

TEST(SnSet, TheLastOccurrenceWins) {
    CsnSet set;
    EXPECT_EQ(0, Load(set, R"(<snConfig><sn sn="GW1"/><model model="Varek-B"/><sn sn="GW2"/>)"
                           R"(<model model="Mosso"/><sn sn="ABC3"/></snConfig>)"));
    EXPECT_EQ(100, set.GetModel());
    EXPECT_STREQ("ABC3", set.GetSn());
    EXPECT_EQ(3U, Number(set));
}

TEST(SnSet, TheModelCountsWhereverItStands) {
    CsnSet set;
    EXPECT_EQ(0, Load(set, R"(<snConfig><sn sn="ABC77"/><model model="Mosso"/></snConfig>)"));
    EXPECT_EQ(77U, Number(set));
}

TEST(SnSet, ElementsWithoutTheirAttributeAreSkipped) {
    CsnSet set;
    EXPECT_EQ(0, Load(set, R"(<snConfig><model/><model sn="x"/><sn sn="GW5"/><sn model="Mosso"/>)"
                           R"(<other model="Mosso" sn="Q"/></snConfig>)"));
    EXPECT_EQ(1, set.GetModel());
    EXPECT_STREQ("GW5", set.GetSn());
}

TEST(SnSet, WithoutASerialTextLoadingFails) {
    const LogCapture log;
    CsnSet set;
    EXPECT_EQ(-1, Load(set, R"(<snConfig><model model="Mosso"/></snConfig>)"));
    EXPECT_EQ(-1, Load(set, "<snConfig/>"));
    EXPECT_EQ(-1, Load(set, "<snConfig><sn/></snConfig>"));
    EXPECT_EQ(-1, set.IsOpen()) << "the document is freed";
    EXPECT_EQ((std::vector<LogEntry>(3, {kLogError, "parse SN Document failed,no sn attribute"})),
              log.Text());
}

TEST(SnSet, AnEmptySerialTextIsNoName) {
    const LogCapture log;
    CsnSet set;
    EXPECT_EQ(-1, Load(set, Document("Mosso", "")));
    EXPECT_EQ(-1, Load(set, R"(<snConfig><sn sn="GW1"/><sn sn=""/></snConfig>)"));
    EXPECT_EQ(-1, set.IsOpen()) << "the document is freed";
    EXPECT_EQ((std::vector<LogEntry>(2, {kLogError, "parse SN Document failed,no sn attribute"})),
              log.Text());
}

TEST(SnSet, DocumentsThatCannotBeUsedFailOpen) {
    const LogCapture log;
    CsnSet set;
    EXPECT_EQ(-1, Load(set, "no xml"));
    EXPECT_EQ(-1, set.Open("/none"));
    EXPECT_EQ(-1, set.Open(nullptr));
    EXPECT_EQ(-1, Load(set, "<SnConfig/>"));
    EXPECT_EQ(-1, set.IsOpen());
    EXPECT_EQ(-1, set.LoadNodeFromXml());
    EXPECT_EQ((std::vector<LogEntry>{
                  {kLogError, "parse Document /quorvane/Config/system/sn.xml failed"},
                  {kLogError, "parse Document /none failed"},
                  {kLogError, "parse Document  failed"},
                  {kLogError, "parse SN Document failed,wrong type,root node is not snConfig"},
                  {kLogError, "parse SN Document failed"}}),
              log.Text());
}

TEST(SnSet, CloseFreesTheDocumentAndKeepsTheIdentity) {
    CsnSet set;
    EXPECT_EQ(-1, set.Close());
    EXPECT_EQ(0, Load(set, Document("Mosso", "ABC1")));
    EXPECT_EQ(0, set.IsOpen());
    EXPECT_EQ(0, set.Close());
    EXPECT_EQ(-1, set.IsOpen());
    EXPECT_STREQ("ABC1", set.GetSn());
}

TEST(SnSet, TheNumberCanBeDerivedFromAnyText) {
    CsnSet set;
    set.Model2Sn("XY99");
    EXPECT_EQ(99U, Number(set));
    set.Model2Sn(reinterpret_cast<const unsigned char *>("XY100"));
    EXPECT_EQ(100U, Number(set));
    set.Model2Sn("");
    EXPECT_EQ(0U, Number(set));
}

TEST(SnSet, ANullTextKeepsTheNumberAndANullTargetGetsNone) {
    CsnSet set;
    set.Model2Sn("XY99");
    set.Model2Sn(static_cast<const char *>(nullptr));
    set.Model2Sn(static_cast<const unsigned char *>(nullptr));
    set.GetSn(nullptr);
    EXPECT_EQ(99U, Number(set));
}

}  // namespace
}  // namespace corvenna::test
