// How the loaders use the XML library: what they ask of it, what they do with a document that has
// no root, and when they let others use it.

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <string>
#include <thread>
#include <vector>

#include "base/xml.h"
#include "config/root.h"
#include "log/log.h"
#include "tests/config/loaders.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"
#include "tests/support/pauses.h"

namespace {

struct Read {
    std::string path;
    std::string encoding;
    int options;
};

std::vector<Read> gReads;
bool gEmptyDocuments = false;

}  // namespace

extern "C" {
xmlDocPtr __real_xmlReadFile(const char *path, const char *encoding, int options);
xmlDocPtr __wrap_xmlReadFile(const char *path, const char *encoding, int options);

xmlDocPtr __wrap_xmlReadFile(const char *path, const char *encoding, int options) {
    gReads.push_back({path, encoding, options});
    return gEmptyDocuments ? xmlNewDoc(nullptr) : __real_xmlReadFile(path, encoding, options);
}
}

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/quorvane/Config/file.xml";

TEST(Documents, AreReadAsUtf8WithoutBlanksAndWithoutTheNetwork) {
    const PauseRecorder pauses;
    for (const Loader &loader : kLoaders) {
        SCOPED_TRACE(loader.name);
        gReads.clear();
        WriteFile(kPath, loader.document);
        Printed([&] { EXPECT_EQ(0, loader.load(kPath)); });
        ASSERT_FALSE(gReads.empty());
        EXPECT_EQ(kPath, gReads[0].path);
        EXPECT_EQ("UTF-8", gReads[0].encoding);
        EXPECT_EQ(XML_PARSE_NOBLANKS | XML_PARSE_NONET, gReads[0].options);
    }
}

TEST(Documents, ThePointFileIsReadByTheDevicesName) {
    const PauseRecorder pauses;
    WriteFile(kPath,
              "<ChannelConfig><Channel><Dev Name='a.xml'/><Dev Name='/b'/></Channel>"
              "</ChannelConfig>");
    CChannelSet set;
    EXPECT_EQ(0, set.Open(kPath));
    ASSERT_EQ(3U, gReads.size());
    EXPECT_EQ("a.xml", gReads[1].path);
    EXPECT_EQ("/b", gReads[2].path);
}

TEST(Documents, StandardInputIsNoFile) {
    EXPECT_EQ(-1, CSysSet().Open("-"));
    EXPECT_EQ(-1, LoadPoints("-"));
    EXPECT_TRUE(gReads.empty());
}

TEST(Documents, WithoutARootAreRejectedWithTheLoadersMessage) {
    gEmptyDocuments = true;
    const LogCapture log;
    CSysSet sys;
    EXPECT_EQ(0, sys.Open(kPath));
    EXPECT_EQ(-1, sys.IsOpen());
    CsnSet sn;
    EXPECT_EQ(-1, sn.Open(kPath));
    EXPECT_EQ(-1, sn.IsOpen());
    CForwardConfig forward;
    EXPECT_EQ(-1, forward.Open(kPath));
    EXPECT_EQ(-1, forward.IsOpen());
    CChannelSet channels;
    EXPECT_EQ(-1, channels.Open(kPath));
    EXPECT_EQ(-1, channels.IsOpen());
    EXPECT_EQ(-1, LoadPoints(kPath));
    EXPECT_EQ((std::vector<LogEntry>{{kLogError, "SysConfigXml document,Empty document."},
                                     {kLogError, "parse SN Document failed,empty document."},
                                     {kLogError, "[LoadForwardParamFromXml]: Empty document."},
                                     {kLogError, "[LoadChannelParamFromXml]: Empty document."},
                                     {kLogError, "[LoadDevPointAttr]: empty document"}}),
              log.Text());
}

TEST(Documents, AHeldOneIsFreedByTheNextOpen) {
    WriteFile(kPath, "<sysConfig/>");
    CSysSet set;
    Printed([&] { EXPECT_EQ(0, set.Open(kPath)); });
    Printed([&] { EXPECT_EQ(0, set.Open(kPath)); });
    EXPECT_EQ(0, set.IsOpen());
    EXPECT_EQ(-1, set.Open("/none")) << "and a failed one holds none";
    EXPECT_EQ(-1, set.IsOpen());
}

TEST(Documents, MayBeLoadedAgainWhileTheyAreHeld) {
    WriteFile(kPath, R"(<snConfig><model model="Mosso"/><sn sn="ABC1"/></snConfig>)");
    CsnSet set;
    EXPECT_EQ(0, set.Open(kPath));
    EXPECT_EQ(0, set.LoadNodeFromXml());
    EXPECT_EQ(0, set.IsOpen());
}

TEST(Documents, OthersMayCleanUpTheLibraryDuringThePausesOfTheTemplate) {
    PauseRecorder pauses;
    pauses.OnPause([] { std::thread(CleanUpXml).join(); });
    WriteFile(kPath, R"(<ChannelConfig><Channel No="1"><Dev SlaveId="1" Desc="a"/>)"
                     R"(<Dev SlaveId="2"/></Channel></ChannelConfig>)");
    CChannelSet set;
    EXPECT_EQ(0, set.Open(kPath));
    ST_DEV_ATTR *dev = nullptr;
    ASSERT_EQ(0, set.GetAttr(static_cast<unsigned short>(0x0102), &dev));
    EXPECT_STREQ("a", dev->Desc);
}

TEST(Documents, EntitiesOfTheFileItselfAreResolved) {
    WriteFile(kPath, R"(<!DOCTYPE snConfig [<!ENTITY n "AB"><!ENTITY m "&n;C7">]>)"
                     R"(<snConfig><model model="Mosso"/><sn sn="&m;89"/></snConfig>)");
    CsnSet set;
    EXPECT_EQ(0, set.Open(kPath));
    EXPECT_STREQ("ABC789", set.GetSn());
    unsigned number = 0;
    set.GetSn(&number);
    EXPECT_EQ(789U, number);
}

}  // namespace
}  // namespace corvenna::test
