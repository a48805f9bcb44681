#include "tools/gateway/configuration_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/files.h"
#include "tools/gateway/configuration.h"
#include "tools/gateway/wave_source.h"

namespace corvenna::test {
namespace {

using namespace gateway;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// A good configuration, of which a test spoils one file.
class ConfigurationCheck : public testing::Test {
protected:
    ConfigurationCheck() { WriteConfiguration("", {}, WaveSource({1, 2, 1}).Devices()); }

    static void Replace(const std::string &name, const std::string &from, const std::string &to) {
        const std::string path = std::string(kConfigFolder) + name;
        std::string text = ReadFile(path);
        const auto at = text.find(from);
        ASSERT_NE(at, std::string::npos) << text;
        WriteFile(path, text.replace(at, from.size(), to));
    }
    static ConfigurationFindings Check() { return CheckConfiguration(""); }
};

TEST_F(ConfigurationCheck, CountsTheDevices) {
    EXPECT_EQ(Check().devices, 2U);
}

TEST_F(ConfigurationCheck, FindsNothingInAGoodOne) {
    EXPECT_THAT(Check().unusable, IsEmpty());
    EXPECT_THAT(Check().withoutPoints, IsEmpty());
    EXPECT_THAT(Check().errors, IsEmpty());
    EXPECT_THAT(Check().warnings, IsEmpty());
}

TEST_F(ConfigurationCheck, WarnsOfWhatIsTakenOtherwise) {
    Replace("/sys.xml", "AlarmDataInv=\"30\"", "AlarmDataInv=\"29\"");
    EXPECT_THAT(Check().warnings,
                ElementsAre("/quorvane/Config/sys.xml:9: <cloud> AlarmDataInv is \"29\"; 30 is "
                            "taken"));
    EXPECT_THAT(Check().unusable, IsEmpty());
}

TEST_F(ConfigurationCheck, TellsWhyNothingWillArrive) {
    Replace("/sys.xml", "Dir=\"\"", "Dir=\"plant\"");
    EXPECT_THAT(Check().errors, ElementsAre(HasSubstr("<cloud> has Dir \"plant\"; URLs begin with "
                                                      "127.0.0.1:8080plant")));
}

TEST_F(ConfigurationCheck, TellsAMiscasedRoot) {
    Replace("/sys.xml", "<sysConfig>", "<sysconfig>");
    Replace("/sys.xml", "</sysConfig>", "</sysconfig>");
    EXPECT_THAT(
        Check().unusable,
        ElementsAre("/quorvane/Config/sys.xml begins with <sysconfig>, not with <sysConfig>; "
                    "letters must be as they are here"));
}

TEST_F(ConfigurationCheck, TellsAMiscasedElement) {
    Replace("/sys.xml", "<cloud ", "<Cloud ");
    Replace("/sys.xml", "</cloud>", "</Cloud>");
    EXPECT_THAT(
        Check().unusable,
        UnorderedElementsAre("/quorvane/Config/sys.xml has no element <cloud>",
                             "/quorvane/Config/sys.xml:9: <Cloud> is no <cloud>; it is passed over "
                             "with all in it"));
}

TEST_F(ConfigurationCheck, TellsAMiscasedSetting) {
    Replace("/sys.xml", " checked=", " Checked=");
    EXPECT_THAT(Check().unusable,
                ElementsAre("/quorvane/Config/sys.xml:9: <cloud> has \"Checked\", which is no "
                            "\"checked\"; it is passed over"));
}

TEST_F(ConfigurationCheck, TellsWhereAFileIsDamaged) {
    Replace("/sys.xml", "</cloud>", "</clou>");
    EXPECT_THAT(Check().unusable,
                ElementsAre(HasSubstr("/quorvane/Config/sys.xml is damaged: line ")));
}

TEST_F(ConfigurationCheck, TellsEveryFileThatIsMissing) {
    for (const char *name :
         {"sys.xml", "system/sn.xml", "forward_config.xml", "Channel-template.xml"}) {
        std::filesystem::remove(std::string(kConfigFolder) + "/" + name);
    }
    EXPECT_THAT(Check().unusable, ElementsAre("/quorvane/Config/sys.xml is missing",
                                              "/quorvane/Config/system/sn.xml is missing",
                                              "/quorvane/Config/forward_config.xml is missing",
                                              "/quorvane/Config/Channel-template.xml is missing"));
}

TEST_F(ConfigurationCheck, NamesTheDeviceWhosePointFileIsMissing) {
    std::filesystem::remove("/quorvane/Config/Wave1-2.xml");
    EXPECT_THAT(Check().withoutPoints,
                ElementsAre("device 'Wave1-2' (1-2) has no points: /quorvane/Config/Wave1-2.xml is "
                            "missing"));
}

TEST_F(ConfigurationCheck, NamesTheDeviceWhosePointFileHoldsNone) {
    WriteFile("/quorvane/Config/Wave1-1.xml",
              "<DevConfig><NodeProperty><AI Num=\"0\"/></NodeProperty></DevConfig>");
    WriteFile("/quorvane/Config/Wave1-2.xml", "");
    EXPECT_THAT(
        Check().withoutPoints,
        ElementsAre("device 'Wave1-1' (1-1) has no points: /quorvane/Config/Wave1-1.xml holds "
                    "no point",
                    HasSubstr("/quorvane/Config/Wave1-2.xml is damaged: ")));
}

TEST_F(ConfigurationCheck, ReadsALeftOutPointFileAsThePluginDoes) {
    Replace("/Channel-template.xml", " Name=\"/quorvane/Config/Wave1-2.xml\"", "");
    EXPECT_THAT(Check().withoutPoints, IsEmpty());  // it has the one of the device before
}

}  // namespace
}  // namespace corvenna::test
