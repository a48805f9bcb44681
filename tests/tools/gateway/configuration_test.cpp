#include "tools/gateway/configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <tuple>

#include "config/forward_config.h"
#include "config/sn_set.h"
#include "config/sys_set.h"
#include "log/log.h"
#include "message/pack_memory.h"
#include "plugin/instances.h"
#include "tests/support/files.h"
#include "tests/support/pauses.h"
#include "tools/check/sizes.h"
#include "tools/gateway/configuration_rules.h"
#include "tools/gateway/device_list.h"
#include "tools/gateway/exchange.h"
#include "tools/gateway/plugin_echo.h"
#include "tools/gateway/wave_source.h"

namespace corvenna::test {
namespace {

using namespace gateway;

ConfigurationOptions Unusual() {
    ConfigurationOptions options;
    options.server = "cloud.example";
    options.port = 65535;
    options.prefix = "/plant";
    options.format = "xml";
    options.compress = true;
    options.realDataInterval = 61;
    options.alarmInterval = -1;
    options.heartbeatInterval = 62;
    options.checkFailInterval = 31;
    options.recallInterval = 63;
    options.forwardChannel = 1;
    options.https = true;
    options.certificate = "/etc/ca.pem";
    options.user = "me & you";
    options.password = "<\"'>";
    options.model = "Mosso-G";
    options.serial = "ABC00123";
    options.version = "1.2.3";
    options.name = "G\xC3\xA4teway";
    options.station = "Station \"1\"";
    options.address = "Mill Lane 1";
    options.owner = "Mill & Sons";
    options.room = "Cellar";
    options.longitude = "8.547";
    options.latitude = "-47.378";
    return options;
}

TEST(Configuration, OfTheSystemIsWhatThePluginLoads) {
    WriteConfiguration("", Unusual(), {});
    CSysSet settings;
    ASSERT_EQ(settings.Open("/quorvane/Config/sys.xml"), 0);
    const ST_CLOUDSERVER_CONFIG_ATTR &cloud = *settings.GetCloudConfigAttr();
    EXPECT_EQ(int{cloud.checked}, 1);
    EXPECT_STREQ(cloud.cloudip, "cloud.example");
    EXPECT_EQ(int{cloud.port}, 65535);
    EXPECT_STREQ(cloud.Dir, "/plant");
    EXPECT_EQ(int{cloud.RealDataInv}, 61);
    EXPECT_EQ(int{cloud.AlarmDataInv}, -1);
    EXPECT_EQ(int{cloud.HeartBeatInv}, 62);
    EXPECT_EQ(int{cloud.CheckFailInv}, 31);
    EXPECT_EQ(int{cloud.RecallInv}, 63);
    EXPECT_STREQ(cloud.filetype, "xml");
    EXPECT_EQ(int{cloud.isCompress}, 1);
    EXPECT_EQ(int{cloud.TcpChannel}, 1);
    const ST_HTTPS_CERT_INFO &https = *settings.GetHttpsCertInfo();
    EXPECT_EQ(int{https.checked}, 1);
    EXPECT_STREQ(https.certfile, "/etc/ca.pem");
    EXPECT_STREQ(https.user, "me & you");
    EXPECT_STREQ(https.passwd, "<\"'>");
    const ST_GATEWAY_INFO &gateway = *settings.GetGateWayAttr();
    EXPECT_STREQ(gateway.gateWayName, "G\xC3\xA4teway");
    EXPECT_STREQ(gateway.stationName, "Station \"1\"");
    EXPECT_STREQ(gateway.version, "1.2.3");
    EXPECT_STREQ(gateway.address, "Mill Lane 1");
    EXPECT_STREQ(gateway.ownerName, "Mill & Sons");
    EXPECT_STREQ(gateway.roomName, "Cellar");
    EXPECT_STREQ(gateway.longitude, "8.547");
    EXPECT_STREQ(gateway.latitude, "-47.378");
    EXPECT_EQ(settings.Close(), 0);
}

TEST(Configuration, OfTheIdentityIsWhatThePluginLoads) {
    WriteConfiguration("", Unusual(), {});
    CsnSet identity;
    ASSERT_EQ(identity.Open("/quorvane/Config/system/sn.xml"), 0);
    EXPECT_EQ(identity.GetModel(), 101);
    EXPECT_STREQ(identity.GetSn(), "ABC00123");
    EXPECT_EQ(identity.Close(), 0);
}

void ExpectSameDevice(const ST_DEV_ATTR &loaded, const Device &written) {
    EXPECT_EQ(loaded.DeviceName, written.name);
    EXPECT_EQ(loaded.Name, "/quorvane/Config/" + PointFileName(written));
    EXPECT_EQ(loaded.Desc, written.description);
    EXPECT_EQ(loaded.Protocol, written.protocol);
}

TEST(Configuration, OfDevicesAndPointsIsWhatThePluginLoads) {
    const PauseRecorder pauses;
    const Catalogue devices = WaveSource({2, 2, 3}).Devices();
    WriteConfiguration("", {}, devices);
    CChannelSet channels;
    ASSERT_EQ(channels.Open("/quorvane/Config/Channel-template.xml"), 0);
    MAP_DEV_ATTR *loadedDevices = nullptr;
    channels.GetAttr(&loadedDevices);
    ASSERT_EQ(loadedDevices->size(), devices.size());
    for (const Device &device : devices) {
        const auto number = static_cast<std::uint16_t>(device.channel * 256 + device.address);
        ExpectSameDevice(loadedDevices->at(number), device);
    }
    MAP_POINTID_ATTR *points = nullptr;
    channels.GetAttr(&points);
    std::size_t count = 0;
    for (const Device &device : devices) {
        for (const Point &point : device.points) {
            ++count;
            ASSERT_EQ(points->count(DataId(device, point)), 1U) << point.name;
            EXPECT_EQ(points->at(DataId(device, point)).Name, point.name);
            EXPECT_EQ(points->at(DataId(device, point)).EUUnits, point.unit);
        }
    }
    EXPECT_EQ(points->size(), count);
    EXPECT_EQ(channels.Close(), 0);
}

TEST(Configuration, OfEveryTypeOfPointIsWhatThePluginLoads) {
    const PauseRecorder pauses;
    Device device{1, 1, "Meter", "", "", {}};
    for (const PointType type :
         {PointType::kAnalogueInput, PointType::kDigitalInput, PointType::kCounter,
          PointType::kDigitalOutput, PointType::kAnalogueOutput}) {
        device.points.push_back({type, 7, "Point", "V"});
    }
    WriteConfiguration("", {}, {device});
    CChannelSet channels;
    ASSERT_EQ(channels.Open("/quorvane/Config/Channel-template.xml"), 0);
    MAP_POINTID_ATTR *points = nullptr;
    channels.GetAttr(&points);
    EXPECT_EQ(points->size(), device.points.size());
    for (const Point &point : device.points) {
        EXPECT_EQ(points->count(DataId(device, point)), 1U);
    }
    EXPECT_EQ(channels.Close(), 0);
}

TEST(Configuration, OfForwardingShowsEveryPoint) {
    const Catalogue devices = WaveSource({1, 2, 2}).Devices();
    WriteConfiguration("", {}, devices);
    CForwardConfig forwarding;
    ASSERT_EQ(forwarding.Open("/quorvane/Config/forward_config.xml"), 0);
    const auto &device = forwarding.GetForwardMap().at(kGeneratedForwardChannel).at(1).at(2);
    EXPECT_EQ(device.size(), devices[1].points.size());
    EXPECT_EQ(device.at("Wave1-2.Wave 1"), 0x01020000U);
    EXPECT_EQ(device.at("Wave1-2.Comm_Status"), 0x01020100U);
    EXPECT_EQ(forwarding.Close(), 0);
}

TEST(Configuration, GoesBelowTheRootThatItIsGiven) {
    WriteConfiguration("/tmp/root", {}, WaveSource({1, 1, 1}).Devices());
    EXPECT_EQ(ListFolder("/tmp/root/quorvane/Config"),
              (std::vector<std::string>{"Channel-template.xml", "Wave1-1.xml", "forward_config.xml",
                                        "sys.xml", "system", "version"}));
    EXPECT_TRUE(ListFolder("/quorvane/Config").empty());
}

TEST(Configuration, NamesPointFilesByDevicesInPlainLetters) {
    EXPECT_EQ(PointFileName({1, 1, "../Pump 1/\xC3\xA4", "", "", {}}), "___Pump_1___.xml");
}

struct BadText {
    std::string ConfigurationOptions::*option;
    std::string text;

    friend void PrintTo(const BadText &bad, std::ostream *out) { *out << bad.text; }
};

class BadConfigurationText : public testing::TestWithParam<BadText> {};

TEST_P(BadConfigurationText, IsRefused) {
    ConfigurationOptions options;
    options.*GetParam().option = GetParam().text;
    EXPECT_THROW(WriteConfiguration("", options, {}), std::runtime_error);
}

using Options = ConfigurationOptions;
INSTANTIATE_TEST_SUITE_P(
    All, BadConfigurationText,
    testing::Values(BadText{&Options::serial, ""}, BadText{&Options::serial, std::string(19, 'x')},
                    BadText{&Options::serial, "a/b"}, BadText{&Options::serial, "a b"},
                    BadText{&Options::serial, "\xC3\xA4"}, BadText{&Options::server, ""},
                    BadText{&Options::server, std::string(63, 'x')},
                    BadText{&Options::server, "http://cloud"}, BadText{&Options::prefix, "plant"},
                    BadText{&Options::prefix, "/plant/"}, BadText{&Options::prefix, "/a?b"},
                    BadText{&Options::prefix, "/" + std::string(62, 'x')},
                    BadText{&Options::certificate, std::string(127, 'x')},
                    BadText{&Options::user, std::string(63, 'x')},
                    BadText{&Options::password, std::string(63, 'x')},
                    BadText{&Options::serial, ".."}, BadText{&Options::serial, "."},
                    BadText{&Options::model, "Varek-C"}, BadText{&Options::model, "mosso"},
                    BadText{&Options::model, ""}, BadText{&Options::owner, std::string(256, 'x')},
                    BadText{&Options::address, "a\x1b"}, BadText{&Options::room, "a\xFF"},
                    BadText{&Options::name, "a\x01"}, BadText{&Options::name, "a\n"},
                    BadText{&Options::station, "a\xFF"}));

struct Interval {
    int ConfigurationOptions::*option;
    int value;
    bool isTaken;
};

class ConfiguredInterval : public testing::TestWithParam<Interval> {};

TEST_P(ConfiguredInterval, IsTakenOnlyIfThePluginLeavesItAlone) {
    ConfigurationOptions options;
    options.*GetParam().option = GetParam().value;
    if (GetParam().isTaken) {
        EXPECT_NO_THROW(WriteConfiguration("", options, {}));
    } else {
        EXPECT_THROW(WriteConfiguration("", options, {}), std::runtime_error);
    }
}

INSTANTIATE_TEST_SUITE_P(All, ConfiguredInterval,
                         testing::Values(Interval{&Options::realDataInterval, 5, false},
                                         Interval{&Options::realDataInterval, 59, false},
                                         Interval{&Options::realDataInterval, 60, true},
                                         Interval{&Options::realDataInterval, 61, true},
                                         Interval{&Options::realDataInterval, -1, true},
                                         Interval{&Options::alarmInterval, 0, false},
                                         Interval{&Options::alarmInterval, 29, false},
                                         Interval{&Options::alarmInterval, 30, true},
                                         Interval{&Options::heartbeatInterval, 59, false},
                                         Interval{&Options::heartbeatInterval, 60, true},
                                         Interval{&Options::checkFailInterval, 29, false},
                                         Interval{&Options::checkFailInterval, 30, true},
                                         Interval{&Options::recallInterval, 59, false},
                                         Interval{&Options::recallInterval, 60, true},
                                         Interval{&Options::recallInterval, -1, true}));

TEST(Configuration, OfTheSystemIsItsOwnersAlone) {
    for (int i = 0; i < 2; ++i) {  // also in place of one that was everybody's
        WriteConfiguration("", {}, {});
        struct stat status {};
        ASSERT_EQ(stat("/quorvane/Config/sys.xml", &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0600U);
        chmod("/quorvane/Config/sys.xml", 0644);
    }
}

TEST(Configuration, IsKeptBesideTheNewOneUnderTheTime) {
    EXPECT_FALSE(HasConfiguration(""));
    EXPECT_EQ(KeepConfiguration("", 1700000000), "");
    ConfigurationOptions options;
    options.name = "Before";
    WriteConfiguration("", options, {});
    EXPECT_TRUE(HasConfiguration(""));
    EXPECT_EQ(KeepConfiguration("", 1700000000), "/quorvane/Config.old-20231114-221320");
    WriteConfiguration("", {}, {});
    EXPECT_THAT(ReadFile("/quorvane/Config.old-20231114-221320/sys.xml"),
                testing::HasSubstr("\"Before\""));
    struct stat status {};
    ASSERT_EQ(stat("/quorvane/Config.old-20231114-221320/sys.xml", &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(Configuration, NeedsACertificateThatCanBeRead) {
    ConfigurationOptions options;
    options.certificate = "/tmp/ca.pem";
    EXPECT_THROW(CheckCertificate(options, ""), std::runtime_error);
    WriteFile("/tmp/ca.pem", "no certificate");
    EXPECT_THROW(CheckCertificate(options, ""), std::runtime_error);
    WriteFile("/tmp/ca.pem", "-----BEGIN CERTIFICATE-----\n");
    EXPECT_NO_THROW(CheckCertificate(options, ""));
    std::filesystem::create_directories("/tmp/root/tmp");
    std::filesystem::rename("/tmp/ca.pem", "/tmp/root/tmp/ca.pem");
    EXPECT_NO_THROW(CheckCertificate(options, "/tmp/root"));
}

TEST(Configuration, WarnsOfAPortThatSpeaksTheOtherProtocol) {
    ConfigurationOptions options;
    EXPECT_TRUE(Warnings(options).empty());
    options.https = true;
    EXPECT_THAT(Warnings(options), testing::ElementsAre(testing::HasSubstr("HTTPS to port 8080")));
    options.port = 8443;
    EXPECT_TRUE(Warnings(options).empty());
    options.https = false;
    EXPECT_THAT(Warnings(options), testing::ElementsAre(testing::HasSubstr("HTTP to port 8443")));
}

TEST(Configuration, WarnsOfAPasswordThatIsNeverSent) {
    ConfigurationOptions options;
    options.password = "secret";
    EXPECT_THAT(Warnings(options),
                testing::ElementsAre("user and password are sent with HTTPS only"));
}

Catalogue ManyDevices(std::size_t count) {
    Catalogue devices;
    for (std::size_t i = 0; i < count; ++i) {
        Device device{static_cast<std::uint8_t>(1 + i / 250),
                      static_cast<std::uint8_t>(1 + i % 250),
                      "Meter " + std::to_string(i),
                      "A \"meter\" of the plant",
                      "",
                      {}};
        device.points.push_back({PointType::kAnalogueInput, 0, "Ua", "V"});
        devices.push_back(device);
    }
    return devices;
}

class DeviceList : public testing::TestWithParam<std::tuple<const char *, bool>> {};

TEST_P(DeviceList, HasTheBytesThatThePluginSends) {
    const PauseRecorder pauses;
    ConfigurationOptions options;
    std::tie(options.format, options.compress) = GetParam();
    const Catalogue devices = ManyDevices(100);
    WriteConfiguration("", options, devices);
    ASSERT_EQ(GetCSysSetInstance()->Open("/quorvane/Config/sys.xml"), 0);
    ASSERT_EQ(GetCChannelSetInstance()->Open("/quorvane/Config/Channel-template.xml"), 0);
    std::vector<char> body(check::kBodyBytes);
    const int sent = GetCPackMemoryInstance()->CreateDevicesMemory(
        options.format.c_str(), body.data(), static_cast<int>(body.size()));
    EXPECT_EQ(DeviceListBytes(devices, options.format, options.compress),
              static_cast<std::size_t>(sent));
}

TEST(DeviceListOfThePlugin, SaysThatItIsCutInTheWordsThatTheGatewayKnows) {
    const PauseRecorder pauses;
    WriteConfiguration("", {}, ManyDevices(2));
    ASSERT_EQ(GetCChannelSetInstance()->Open("/quorvane/Config/Channel-template.xml"), 0);
    const PluginEcho echo([](const std::string &) {}, false);
    log_init(1);
    const Listener listener;
    char body[64];
    GetCPackMemoryInstance()->CreateDevicesMemory("json", body, sizeof body);
    log_init(0);
    EXPECT_THAT(ReadNote(listener.Messages()), testing::HasSubstr(kCutBody));
}

INSTANTIATE_TEST_SUITE_P(Formats, DeviceList,
                         testing::Combine(testing::Values("json", "xml"), testing::Bool()));

TEST(Configuration, RefusesMoreDevicesThanTheListHasRoomFor) {
    Catalogue devices = ManyDevices(1);
    while (DeviceListBytes(devices, "json", false) <= check::MostDeviceListBytes(false)) {
        devices = ManyDevices(devices.size() + 1);
    }
    EXPECT_THAT([&] { WriteConfiguration("", {}, devices); },
                testing::ThrowsMessage<std::runtime_error>(
                    testing::HasSubstr(std::to_string(devices.size()) + " devices are too many")));
    ConfigurationOptions compressed;
    compressed.compress = true;
    EXPECT_NO_THROW(WriteConfiguration("", compressed, devices));
    devices.pop_back();
    EXPECT_NO_THROW(WriteConfiguration("", {}, devices));
}

TEST(Configuration, RefusesNamesThatThePluginWouldCut) {
    Catalogue devices = ManyDevices(1);
    devices[0].name = std::string(105, 'x');  // 126 characters of path
    devices[0].points[0].name = devices[0].points[0].unit = std::string(126, 'x');
    EXPECT_NO_THROW(WriteConfiguration("", {}, devices));
    devices[0].points[0].name += 'x';
    EXPECT_THROW(WriteConfiguration("", {}, devices), std::runtime_error);
    devices = ManyDevices(1);
    devices[0].name = std::string(106, 'x');
    EXPECT_THROW(WriteConfiguration("", {}, devices), std::runtime_error);
}

TEST(Configuration, TakesTextsThatJustFit) {
    ConfigurationOptions options;
    options.serial = std::string(18, 'x');
    options.certificate = std::string(126, 'x');
    options.user = options.password = std::string(62, 'x');
    options.server = std::string(62, 'x');
    options.name = "M\xC3\xBChle <1> & \"2\"";
    EXPECT_NO_THROW(WriteConfiguration("", options, {}));
}

TEST(Configuration, RefusesAServerPrefixAndSerialThatMakeATooLongUrl) {
    ConfigurationOptions options;
    options.server = std::string(50, 'x');
    options.prefix = "/" + std::string(43, 'x');  // 126 characters of URL
    EXPECT_NO_THROW(WriteConfiguration("", options, {}));
    options.prefix += "x";
    EXPECT_THROW(WriteConfiguration("", options, {}), std::runtime_error);
}

TEST(Configuration, RefusesADeviceWhoseNameIsNoText) {
    EXPECT_THROW(WriteConfiguration("", {}, {{1, 1, "Pump\xFF", "", "", {}}}), std::runtime_error);
}

TEST(Configuration, RefusesDevicesThatWouldShareAPointFile) {
    const Catalogue devices = {{1, 1, "Pump 1", "", "", {}}, {1, 2, "Pump_1", "", "", {}}};
    EXPECT_THROW(WriteConfiguration("", {}, devices), std::runtime_error);
}

TEST(Configuration, RefusesADeviceCalledLikeAnotherFileOfTheFolder) {
    EXPECT_THROW(WriteConfiguration("", {}, {{1, 1, "sys", "", "", {}}}), std::runtime_error);
}

TEST(Configuration, ThrowsWhenItCannotBeWritten) {
    WriteFile("/tmp/file", "");
    EXPECT_ANY_THROW(WriteConfiguration("/tmp/file", {}, {}));
}

}  // namespace
}  // namespace corvenna::test
