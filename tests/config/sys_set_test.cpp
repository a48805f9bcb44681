#include "config/sys_set.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "log/log.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/failing_fstat.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace {

int gInterruptions = 0;

bool IsInterrupted() {
    if (gInterruptions == 0) {
        return false;
    }
    --gInterruptions;
    errno = EINTR;
    return true;
}

}  // namespace

// Where sizes are checked the call has another name.
extern "C" {
ssize_t __real_read(int file, void *data, std::size_t size);
ssize_t __wrap_read(int file, void *data, std::size_t size);
ssize_t __wrap_read(int file, void *data, std::size_t size) {
    return IsInterrupted() ? -1 : __real_read(file, data, size);
}
ssize_t __real___read_chk(int file, void *data, std::size_t size, std::size_t room);
ssize_t __wrap___read_chk(int file, void *data, std::size_t size, std::size_t room);
ssize_t __wrap___read_chk(int file, void *data, std::size_t size, std::size_t room) {
    return IsInterrupted() ? -1 : __real___read_chk(file, data, size, room);
}
}

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/quorvane/Config/sys.xml";
constexpr char kVersionPath[] = "/quorvane/Config/version/main-version.conf";

/// Loads a file with that content; the version file's absence stays off the terminal.
int Load(CSysSet &set, const std::string &xml) {
    WriteFile(kPath, xml);
    int result = 0;
    Printed([&] { result = set.Open(kPath); });
    return result;
}

ST_CLOUDSERVER_CONFIG_ATTR LoadCloud(const std::string &attributes) {
    CSysSet set;
    EXPECT_EQ(0, Load(set, "<sysConfig><cloud " + attributes + "/></sysConfig>"));
    return *set.GetCloudConfigAttr();
}

std::string Attribute(const std::string &name, const std::string &value) {
    return name + "=\"" + value + "\"";
}

TEST(SysSet, ACloudElementWithoutAttributesYieldsTheDefaults) {
    const ST_CLOUDSERVER_CONFIG_ATTR cloud = LoadCloud("");
    EXPECT_STREQ("127.0.0.1", cloud.cloudip);
    EXPECT_EQ(80, static_cast<int>(cloud.port));
    EXPECT_EQ(0, cloud.checked);
    EXPECT_STREQ("", cloud.Dir);
    EXPECT_EQ(300, static_cast<int>(cloud.RealDataInv));
    EXPECT_EQ(-1, static_cast<int>(cloud.AlarmDataInv));
    EXPECT_EQ(-1, static_cast<int>(cloud.HeartBeatInv));
    EXPECT_EQ(60, static_cast<int>(cloud.CheckFailInv));
    EXPECT_EQ(-1, static_cast<int>(cloud.RecallInv));
    EXPECT_STREQ("json", cloud.filetype);
    EXPECT_EQ(0, cloud.isCompress);
    EXPECT_EQ(0, cloud.TcpChannel);
}

TEST(SysSet, EveryCloudAttributeReachesItsField) {
    const ST_CLOUDSERVER_CONFIG_ATTR cloud =
        LoadCloud(R"(cloudip="cloud.example" port="8080" checked="1" Dir="/api" RealDataInv="61" )"
                  R"(AlarmDataInv="62" HeartInterval="63" FailInterval="64" RecallInterval="65" )"
                  R"(FileType="xml" IsCompress="1" TcpChannel="7")");
    EXPECT_STREQ("cloud.example", cloud.cloudip);
    EXPECT_EQ(8080, static_cast<int>(cloud.port));
    EXPECT_EQ(1, cloud.checked);
    EXPECT_STREQ("/api", cloud.Dir);
    EXPECT_EQ(61, static_cast<int>(cloud.RealDataInv));
    EXPECT_EQ(62, static_cast<int>(cloud.AlarmDataInv));
    EXPECT_EQ(63, static_cast<int>(cloud.HeartBeatInv));
    EXPECT_EQ(64, static_cast<int>(cloud.CheckFailInv));
    EXPECT_EQ(65, static_cast<int>(cloud.RecallInv));
    EXPECT_STREQ("xml", cloud.filetype);
    EXPECT_EQ(1, cloud.isCompress);
    EXPECT_EQ(7, cloud.TcpChannel);
}

TEST(SysSet, WithoutACloudElementTheCloudRecordStaysZero) {
    CSysSet set;
    EXPECT_EQ(0, Load(set, "<sysConfig><Info/></sysConfig>"));
    const ST_CLOUDSERVER_CONFIG_ATTR zero{};
    EXPECT_EQ(0, std::memcmp(&zero, set.GetCloudConfigAttr(), sizeof zero));
}

struct Interval {
    const char *attribute;
    const char *value;
    int expected;
};

TEST(CloudInterval, RealDataBelowSixtyBecomesTheDefaultAsAnUnsignedWord) {
    const Interval kIntervals[] = {
        {"", "59", 300},    {"", "60", 60},       {"", "61", 61},        {"", "0", 300},
        {"", "-1", -1},     {"", "1", 300},       {"", "abc", 300},      {"", "65596", 60},
        {"", "65595", 300}, {"", "32767", 32767}, {"", "32768", -32768}, {"", "65535", -1},
        {"", " 60", 60},    {"", "60x", 60},      {"", "", 300},
    };
    for (const Interval &interval : kIntervals) {
        SCOPED_TRACE(interval.value);
        const ST_CLOUDSERVER_CONFIG_ATTR cloud =
            LoadCloud(Attribute("RealDataInv", interval.value));
        EXPECT_EQ(interval.expected, static_cast<int>(cloud.RealDataInv));
    }
}

TEST(CloudInterval, PositiveOnesAreRaisedToTheirLeastAndOthersKept) {
    const Interval kIntervals[] = {
        {"AlarmDataInv", "1", 30},     {"AlarmDataInv", "29", 30},    {"AlarmDataInv", "30", 30},
        {"AlarmDataInv", "31", 31},    {"AlarmDataInv", "0", 0},      {"AlarmDataInv", "-5", -5},
        {"AlarmDataInv", "65535", -1}, {"AlarmDataInv", "65537", 30}, {"FailInterval", "1", 30},
        {"FailInterval", "29", 30},    {"FailInterval", "30", 30},    {"FailInterval", "31", 31},
        {"FailInterval", "0", 0},      {"FailInterval", "-5", -5},    {"HeartInterval", "1", 60},
        {"HeartInterval", "59", 60},   {"HeartInterval", "60", 60},   {"HeartInterval", "61", 61},
        {"HeartInterval", "0", 0},     {"HeartInterval", "-5", -5},   {"RecallInterval", "1", 60},
        {"RecallInterval", "59", 60},  {"RecallInterval", "60", 60},  {"RecallInterval", "61", 61},
        {"RecallInterval", "0", 0},    {"RecallInterval", "-5", -5},
    };
    for (const Interval &interval : kIntervals) {
        SCOPED_TRACE(std::string(interval.attribute) + " " + interval.value);
        const std::string name = interval.attribute;
        const ST_CLOUDSERVER_CONFIG_ATTR cloud = LoadCloud(Attribute(name, interval.value));
        const int stored = name == "AlarmDataInv"    ? cloud.AlarmDataInv
                           : name == "FailInterval"  ? cloud.CheckFailInv
                           : name == "HeartInterval" ? cloud.HeartBeatInv
                                                     : cloud.RecallInv;
        EXPECT_EQ(interval.expected, stored);
    }
}

TEST(SysSet, NumbersAreCutToTheirFieldsWidth) {
    EXPECT_EQ(4464, static_cast<int>(LoadCloud(Attribute("port", "70000")).port));
    EXPECT_EQ(0, static_cast<int>(LoadCloud(Attribute("port", "abc")).port));
    EXPECT_EQ(65535, static_cast<int>(LoadCloud(Attribute("port", "-1")).port));
    EXPECT_EQ(1, LoadCloud(Attribute("checked", "257")).checked);
    EXPECT_EQ(0, LoadCloud(Attribute("checked", "256")).checked);
    EXPECT_EQ(44, LoadCloud(Attribute("IsCompress", "300")).isCompress);
    EXPECT_EQ(255, LoadCloud(Attribute("TcpChannel", "-1")).TcpChannel);
}

TEST(SysSet, TextsOfTheCloudAreCutAtTheirLimits) {
    for (const std::size_t length : {61U, 62U, 63U, 64U, 500U}) {
        const std::string text(length, 'a');
        const std::string kept = text.substr(0, 62);
        EXPECT_EQ(kept, LoadCloud(Attribute("cloudip", text)).cloudip);
        EXPECT_EQ(kept, LoadCloud(Attribute("Dir", text)).Dir);
    }
    for (const std::size_t length : {13U, 14U, 15U, 16U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(text.substr(0, 14), LoadCloud(Attribute("FileType", text)).filetype);
    }
}

TEST(SysSet, TheFileTypeIsNotChecked) {
    EXPECT_STREQ("yaml", LoadCloud(Attribute("FileType", "yaml")).filetype);
}

TEST(SysSet, ALaterCloudElementStartsFromTheDefaultsAgain) {
    CSysSet set;
    Load(set, R"(<sysConfig><cloud port="1" Dir="/a"/><cloud Dir="/b"/></sysConfig>)");
    EXPECT_EQ(80, static_cast<int>(set.GetCloudConfigAttr()->port));
    EXPECT_STREQ("/b", set.GetCloudConfigAttr()->Dir);
}

TEST(SysSet, HttpsSettingsAreReadFromTheCloudElement) {
    CSysSet set;
    Load(set, R"(<sysConfig><cloud><https checked="1" certfile="/etc/ca.pem" user="u" )"
              R"(password="p"/></cloud></sysConfig>)");
    const ST_HTTPS_CERT_INFO &https = *set.GetHttpsCertInfo();
    EXPECT_EQ(1, https.checked);
    EXPECT_STREQ("/etc/ca.pem", https.certfile);
    EXPECT_STREQ("u", https.user);
    EXPECT_STREQ("p", https.passwd);
}

TEST(SysSet, ALaterHttpsElementOverwritesWhatItCarriesAndLeavesTheRest) {
    CSysSet set;
    Load(set, R"(<sysConfig><cloud><https checked="1" user="a" password="x"/>)"
              R"(<https user="b" certfile="c"/></cloud></sysConfig>)");
    const ST_HTTPS_CERT_INFO &https = *set.GetHttpsCertInfo();
    EXPECT_EQ(1, https.checked);
    EXPECT_STREQ("b", https.user);
    EXPECT_STREQ("x", https.passwd);
    EXPECT_STREQ("c", https.certfile);
}

TEST(SysSet, TextsOfHttpsAreCutAtTheirLimits) {
    const std::string text(300, 'k');
    CSysSet set;
    Load(set, "<sysConfig><cloud><https certfile=\"" + text + "\" user=\"" + text +
                  "\" password=\"" + text + "\"/></cloud></sysConfig>");
    EXPECT_EQ(std::string(126, 'k'), set.GetHttpsCertInfo()->certfile);
    EXPECT_EQ(std::string(62, 'k'), set.GetHttpsCertInfo()->user);
    EXPECT_EQ(std::string(62, 'k'), set.GetHttpsCertInfo()->passwd);
}

TEST(SysSet, TheGatewaysDescriptionIsReadFromInfo) {
    CSysSet set;
    Load(set, R"(<sysConfig><Info><station stationName="S" longitude="1.5" latitude="2.5"/>)"
              R"(<rooms roomName="R" desc="RD"/><baseInfo gatewayName="G" address="A"/>)"
              R"(<owner ownerName="O" desc="OD"/></Info></sysConfig>)");
    const ST_GATEWAY_INFO &info = *set.GetGateWayAttr();
    EXPECT_STREQ("S", info.stationName);
    EXPECT_STREQ("1.5", info.longitude);
    EXPECT_STREQ("2.5", info.latitude);
    EXPECT_STREQ("R", info.roomName);
    EXPECT_STREQ("RD", info.roomDesc);
    EXPECT_STREQ("G", info.gateWayName);
    EXPECT_STREQ("A", info.address);
    EXPECT_STREQ("O", info.ownerName);
    EXPECT_STREQ("OD", info.ownerDesc);
}

TEST(SysSet, TheLastOccurrenceWinsFieldByField) {
    CSysSet set;
    Load(set, R"(<sysConfig><Info><station stationName="a" longitude="1"/></Info>)"
              R"(<Info><station stationName="b"/></Info></sysConfig>)");
    EXPECT_STREQ("b", set.GetGateWayAttr()->stationName);
    EXPECT_STREQ("1", set.GetGateWayAttr()->longitude);
}

TEST(SysSet, TextsOfTheDescriptionKeep255Characters) {
    for (const std::size_t length : {254U, 255U, 256U, 5000U}) {
        const std::string text(length, 'n');
        const std::string kept = text.substr(0, 255);
        const auto attribute = [&](const char *name) { return ' ' + Attribute(name, text); };
        CSysSet set;
        Load(set, "<sysConfig><Info><station" + attribute("stationName") + attribute("longitude") +
                      attribute("latitude") + "/><rooms" + attribute("roomName") +
                      attribute("desc") + "/><baseInfo" + attribute("gatewayName") +
                      attribute("address") + "/><owner" + attribute("ownerName") +
                      attribute("desc") + "/></Info></sysConfig>");
        const ST_GATEWAY_INFO &info = *set.GetGateWayAttr();
        EXPECT_EQ(kept, info.stationName);
        EXPECT_EQ(kept, info.longitude);
        EXPECT_EQ(kept, info.latitude);
        EXPECT_EQ(kept, info.roomName);
        EXPECT_EQ(kept, info.roomDesc);
        EXPECT_EQ(kept, info.gateWayName);
        EXPECT_EQ(kept, info.address);
        EXPECT_EQ(kept, info.ownerName);
        EXPECT_EQ(kept, info.ownerDesc);
    }
}

TEST(SysSet, NamesAreCaseSensitiveAndUnknownElementsAreIgnored) {
    CSysSet set;
    Load(set,
         R"(<sysConfig><Cloud port="1"/><cloud Port="2"/><x><cloud port="3"/></x></sysConfig>)");
    EXPECT_EQ(80, static_cast<int>(set.GetCloudConfigAttr()->port));
}

TEST(SysSet, ASecondLoadKeepsWhatItDoesNotSet) {
    CSysSet set;
    Load(set,
         R"(<sysConfig><Info><owner ownerName="a" desc="d"/></Info><cloud port="9"/></sysConfig>)");
    Load(set, R"(<sysConfig><Info><owner ownerName="b"/></Info></sysConfig>)");
    EXPECT_STREQ("b", set.GetGateWayAttr()->ownerName);
    EXPECT_STREQ("d", set.GetGateWayAttr()->ownerDesc);
    EXPECT_EQ(9, static_cast<int>(set.GetCloudConfigAttr()->port));
}

TEST(SysSet, AFileThatCannotBeParsedFailsOpen) {
    const LogCapture log;
    CSysSet set;
    EXPECT_EQ(-1, Load(set, "<sysConfig>"));
    EXPECT_EQ(-1, set.Open("/quorvane/Config/none.xml"));
    EXPECT_EQ(-1, set.Open(nullptr));
    EXPECT_EQ((std::vector<LogEntry>{{kLogError, "parsed /quorvane/Config/sys.xml failed"},
                                     {kLogError, "parsed /quorvane/Config/none.xml failed"},
                                     {kLogError, "parsed  failed"}}),
              log.Text());
    EXPECT_EQ(-1, set.IsOpen());
}

TEST(SysSet, AWrongRootIsRejectedAndYetOpenSucceeds) {
    const LogCapture log;
    CSysSet set;
    EXPECT_EQ(0, Load(set, R"(<SysConfig><cloud port="1"/></SysConfig>)"));
    EXPECT_EQ((std::vector<LogEntry>{{kLogError, "SysConfigXml document,root is not sysConfig."}}),
              log.Text());
    EXPECT_EQ(-1, set.IsOpen()) << "the document is freed";
    EXPECT_EQ(0, static_cast<int>(set.GetCloudConfigAttr()->port));
}

TEST(SysSet, LoadingWithoutADocumentFails) {
    const LogCapture log;
    CSysSet set;
    EXPECT_EQ(-1, set.LoadNodeFromXml());
    EXPECT_EQ((std::vector<LogEntry>{{kLogError, "SysConfigXml document is null"}}), log.Text());
}

TEST(SysSet, CloseFreesTheDocumentAndKeepsTheRecords) {
    CSysSet set;
    EXPECT_EQ(-1, set.IsOpen());
    EXPECT_EQ(-1, set.Close());
    Load(set, R"(<sysConfig><cloud port="1234"/></sysConfig>)");
    EXPECT_EQ(0, set.IsOpen());
    EXPECT_EQ(0, set.Close());
    EXPECT_EQ(-1, set.IsOpen());
    EXPECT_EQ(-1, set.Close());
    EXPECT_EQ(1234, static_cast<int>(set.GetCloudConfigAttr()->port));
}

TEST(Version, KeepsItsLineEnd) {
    WriteFile(kVersionPath, "1.2.3\nsecond line\n");
    CSysSet set;
    EXPECT_EQ(0, set.getVersionInfo());
    EXPECT_STREQ("1.2.3\n", set.GetGateWayAttr()->version);
}

TEST(Version, IsReadAtTheEndOfEveryGoodLoad) {
    WriteFile(kVersionPath, "9.9");
    CSysSet set;
    Load(set, "<sysConfig/>");
    EXPECT_STREQ("9.9", set.GetGateWayAttr()->version);
}

TEST(Version, KeepsAtMost99Characters) {
    for (const std::size_t length : {98U, 99U, 100U, 300U}) {
        const std::string line(length, '7');
        WriteFile(kVersionPath, line + "\n");
        CSysSet set;
        set.getVersionInfo();
        EXPECT_EQ((line + "\n").substr(0, 99), set.GetGateWayAttr()->version);
    }
}

TEST(Version, AMissingFileIsPrintedAndKeepsTheEarlierVersion) {
    WriteFile(kVersionPath, "1.0");
    CSysSet set;
    set.getVersionInfo();
    ASSERT_EQ(0, std::remove(kVersionPath));
    const LogCapture log;
    int result = 0;
    EXPECT_EQ("/quorvane/Config/version/main-version.conf is not exist",
              Printed([&] { result = set.getVersionInfo(); }));
    EXPECT_EQ(-1, result);
    EXPECT_STREQ("1.0", set.GetGateWayAttr()->version);
    EXPECT_TRUE(log.Text().empty());
}

TEST(Version, OfAFileThatTellsNoSizeIsRead) {
    WriteFile(kVersionPath, "");
    ASSERT_EQ(0, std::remove(kVersionPath));
    ASSERT_EQ(0, symlink("/proc/sys/kernel/ostype", kVersionPath));
    CSysSet set;
    EXPECT_EQ(0, set.getVersionInfo());
    EXPECT_STREQ("Linux\n", set.GetGateWayAttr()->version);
}

TEST(Version, AFileThatCannotBeReadKeepsTheEarlierVersion) {
    WriteFile(kVersionPath, "1.0");
    CSysSet set;
    set.getVersionInfo();
    ASSERT_EQ(0, std::remove(kVersionPath));
    ASSERT_EQ(0,
              symlink("/proc/self/mem", kVersionPath));  // opens, and cannot be read at its begin
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(-1, set.getVersionInfo()); }));
    EXPECT_STREQ("1.0", set.GetGateWayAttr()->version);
}

TEST(Version, AFileThatCannotBeExaminedKeepsTheEarlierVersion) {
    WriteFile(kVersionPath, "1.0");
    CSysSet set;
    set.getVersionInfo();
    WriteFile(kVersionPath, "2.0");
    {
        const FailingFstat failing;
        EXPECT_EQ("", Printed([&] { EXPECT_EQ(-1, set.getVersionInfo()); }));
    }
    EXPECT_STREQ("1.0", set.GetGateWayAttr()->version);
}

TEST(Version, IsReadOnAfterASignal) {
    WriteFile(kVersionPath, "1.0");
    CSysSet set;
    gInterruptions = 2;
    EXPECT_EQ(0, set.getVersionInfo());
    EXPECT_EQ(0, gInterruptions);
    EXPECT_STREQ("1.0", set.GetGateWayAttr()->version);
}

TEST(Version, AFileThatCannotBeOpenedKeepsTheEarlierVersion) {
    WriteFile(kVersionPath, "1.0");
    CSysSet set;
    set.getVersionInfo();
    ASSERT_EQ(0, std::remove(kVersionPath));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, kVersionPath, sizeof kVersionPath);
    const int unopenable = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(0, bind(unopenable, reinterpret_cast<sockaddr *>(&address), sizeof address));
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(-1, set.getVersionInfo()); }));
    EXPECT_STREQ("1.0", set.GetGateWayAttr()->version);
    close(unopenable);
}

TEST(Version, InNoRegularFileCannotBeOpened) {
    WriteFile(kVersionPath, "1.0");
    CSysSet set;
    set.getVersionInfo();
    ASSERT_EQ(0, std::remove(kVersionPath));
    ASSERT_EQ(0, mkfifo(kVersionPath, 0600));
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(-1, set.getVersionInfo()); }));
    ASSERT_EQ(0, std::remove(kVersionPath));
    ASSERT_EQ(0, symlink("/dev/zero", kVersionPath));
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(-1, set.getVersionInfo()); }));
    ASSERT_EQ(0, std::remove(kVersionPath));
    ASSERT_EQ(0, mkdir(kVersionPath, 0700));
    EXPECT_EQ("", Printed([&] { EXPECT_EQ(-1, set.getVersionInfo()); }));
    EXPECT_STREQ("1.0", set.GetGateWayAttr()->version);
}

TEST(Version, IsNotReadAfterARejectedDocument) {
    WriteFile(kVersionPath, "9.9");
    const LogCapture log;
    CSysSet set;
    Load(set, "<other/>");
    EXPECT_STREQ("", set.GetGateWayAttr()->version);
}

TEST(Version, AnEmptyFileMakesItEmpty) {
    WriteFile(kVersionPath, "1.0");
    CSysSet set;
    set.getVersionInfo();
    WriteFile(kVersionPath, "");
    EXPECT_EQ(0, set.getVersionInfo());
    EXPECT_STREQ("", set.GetGateWayAttr()->version);
}

}  // namespace
}  // namespace corvenna::test
