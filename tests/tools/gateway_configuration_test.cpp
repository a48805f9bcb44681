#include <gtest/gtest.h>

#include "config/forward_config.h"
#include "config/sn_set.h"
#include "config/sys_set.h"
#include "tests/support/files.h"
#include "tests/support/pauses.h"
#include "tools/gateway/configuration.h"
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
                    BadText{&Options::name, "a\x01"}, BadText{&Options::name, "a\n"},
                    BadText{&Options::station, "a\xFF"}));

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
