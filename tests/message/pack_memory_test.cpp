#include "message/pack_memory.h"

#include <gtest/gtest.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/channel_set.h"
#include "config/sn_set.h"
#include "config/sys_set.h"
#include "log/log.h"
#include "message/body.h"
#include "message/devices_body.h"
#include "plugin/instances.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

constexpr int kCapacity = 20480;
constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::string Inflated(const std::string &deflated) {
    std::string text(1 << 20, '\0');
    uLongf length = text.size();
    EXPECT_EQ(Z_OK, uncompress(reinterpret_cast<Bytef *>(text.data()), &length,
                               reinterpret_cast<const Bytef *>(deflated.data()), deflated.size()));
    text.resize(length);
    return text;
}

class Body : public testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC0", 1);
        tzset();
        WriteFile("/quorvane/sn.xml",
                  R"(<snConfig><model model="Varek-A"/><sn sn="GW00123"/></snConfig>)");
        ASSERT_EQ(0, GetCsnSetInstance()->Open("/quorvane/sn.xml"));
        ST_GATEWAY_INFO &info = *GetCSysSetInstance()->GetGateWayAttr();
        std::strcpy(info.stationName, "Station");
        std::strcpy(info.version, "1.2\n");
        std::strcpy(info.roomName, "Room");
        std::strcpy(info.roomDesc, "room <1>");
        std::strcpy(info.gateWayName, "Gate");
        std::strcpy(info.address, "not sent");
        std::strcpy(info.ownerName, "Owner & Co");
        std::strcpy(info.ownerDesc, "the \"owner\"");
        std::strcpy(info.longitude, "10.5");
        std::strcpy(info.latitude, "50.5");
    }

    static void Compress() { GetCSysSetInstance()->GetCloudConfigAttr()->isCompress = 1; }

    static void AddDevice(int channel, int slave, const char *name, const char *desc) {
        ST_DEV_ATTR dev{};
        dev.ChannelNo = static_cast<std::uint8_t>(channel);
        dev.SlaveId = static_cast<std::uint8_t>(slave);
        std::strcpy(dev.Name, name);
        std::strcpy(dev.Desc, desc);
        GetCChannelSetInstance()->AddDev(dev);
        AddPoint(channel, slave);
    }
    static void AddPoint(int channel, int slave) {
        ST_POINTID_ATTR point{};
        point.GroupNo = static_cast<std::uint8_t>(channel);
        point.DevId = static_cast<std::uint8_t>(slave);
        point.db_link = static_cast<std::uint32_t>(channel << 24 | slave << 16);
        GetCChannelSetInstance()->AddSamplePoint(point);
    }

    /// The bytes that an operation puts into a buffer of that capacity, behind which it writes
    /// nothing.
    template <class Make>
    static std::string Made(Make make, int capacity = kCapacity) {
        std::vector<char> buffer(static_cast<std::size_t>(capacity) + 8, '#');
        const int length = make(buffer.data(), capacity);
        EXPECT_LE(0, length);
        EXPECT_EQ("########", std::string(buffer.end() - 8, buffer.end()));
        return {buffer.data(), static_cast<std::size_t>(std::max(length, 0))};
    }

    std::string Gateway(const char *format, int capacity = kCapacity) {
        return Made(
            [&](char *out, int room) { return pack_.CreateGateWayInfoMemory(format, out, room); },
            capacity);
    }
    std::string Devices(const char *format) {
        return Made(
            [&](char *out, int room) { return pack_.CreateDevicesMemory(format, out, room); });
    }
    std::string Status(const char *format, const char *md5, int status) {
        return Made([&](char *out, int room) {
            return pack_.CreatePutDownStatusMemory(format, out, room, md5, status);
        });
    }
    std::string Recall(const char *format, std::int32_t start, std::int32_t end) {
        const recall_time_para range{start, end};
        return Made([&](char *out, int room) {
            return pack_.CreateDelReCallMemory(format, out, room, &range);
        });
    }

    CPackMemory pack_;
    const LogCapture log_;
};

constexpr char kGatewayJson[] =
    R"({"sn":"GW00123","name":"Gate","ver":"1.2\n","site":{"name":"Station","longitude":"10.5",)"
    R"("latitude":"50.5"},"owner":{"name":"Owner & Co","desc":"the \"owner\""},"room":{"name":)"
    R"("Room","desc":"room <1>","camera":"reserve"}})";

const std::string kGatewayXml =
    std::string(kDeclaration) +
    "<data>\n"
    "  <gw sn=\"GW00123\" name=\"Gate\" ver=\"1.2&#10;\">\n"
    "    <site name=\"Station\" longitude=\"10.5\" latitude=\"50.5\"/>\n"
    "    <owner name=\"Owner &amp; Co\" desc=\"the &quot;owner&quot;\"/>\n"
    "    <room name=\"Room\" desc=\"room &lt;1&gt;\" camera=\"reserve\"/>\n"
    "  </gw>\n"
    "</data>\n";

/// libxml2 reports errors to the host's handler unless a guard is held.
void HostHandler(void * /*context*/, xmlErrorPtr /*error*/) {}

/// How often libxml2 built and saved while the guard was held, and while it was not.
int gGuarded = 0;
int gUnguarded = 0;

void CountCall() {
    ++(xmlStructuredError == HostHandler ? gUnguarded : gGuarded);
}

TEST_F(Body, AsXmlIsBuiltAndSavedUnderTheGuard) {
    xmlSetStructuredErrorFunc(nullptr, HostHandler);
    gGuarded = gUnguarded = 0;
    Status("xml", "m", 1);
    EXPECT_EQ(gGuarded, 3);  // two attributes and the document
    EXPECT_EQ(gUnguarded, 0);
    EXPECT_EQ(xmlStructuredError, HostHandler);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
}

TEST_F(Body, EveryNameOfItsXmlIsInTheDictionary) {
    const int names = xmlDictSize(BodyNames());
    AddDevice(1, 3, "/quorvane/Config/Meter1.xml", "");
    Gateway("xml");
    Devices("xml");
    Status("xml", "m", 1);
    Recall("xml", 0, 1);
    EXPECT_EQ(xmlDictSize(BodyNames()), names) << "a name that is missing is added on the way";
    EXPECT_EQ(names, 20);
}

TEST_F(Body, OfTheGateway) {
    EXPECT_EQ(kGatewayJson, Gateway("json"));
    EXPECT_EQ(kGatewayXml, Gateway("xml"));
    EXPECT_TRUE(log_.Text().empty());
}

TEST_F(Body, TheFormatIsChosenByItsPrefix) {
    EXPECT_EQ(kGatewayJson, Gateway("jsonz"));
    EXPECT_EQ(kGatewayXml, Gateway("xmlz"));
}

TEST_F(Body, AnotherFormatLeavesTheBufferAlone) {
    for (const char *format : {"", "JSON", "XML", "text", "jso"}) {
        char buffer[8] = "before";
        const recall_time_para range{0, 1};
        EXPECT_EQ(-1, pack_.CreateGateWayInfoMemory(format, buffer, 8));
        EXPECT_EQ(-1, pack_.CreateDevicesMemory(format, buffer, 8));
        EXPECT_EQ(-1, pack_.CreatePutDownStatusMemory(format, buffer, 8, "m", 0));
        EXPECT_EQ(-1, pack_.CreateDelReCallMemory(format, buffer, 8, &range));
        EXPECT_STREQ("before", buffer);
    }
}

TEST_F(Body, OfTheDevicesInAscendingOrder) {
    AddDevice(2, 7, "/quorvane/Config/Pump.xml", "a \"pump\"");
    AddDevice(1, 3, "/quorvane/Config/Meter1.xml", "");
    AddDevice(1, 200, "/quorvane/Config/sub/x.xml", "d");
    EXPECT_EQ(R"({"device":[{"channel":1,"id":3,"desc":"","name":"Meter1"},)"
              R"({"channel":1,"id":200,"desc":"d","name":"sub/x"},)"
              R"({"channel":2,"id":7,"desc":"a \"pump\"","name":"Pump"}]})",
              Devices("json"));
    EXPECT_EQ(std::string(kDeclaration) +
                  "<data>\n"
                  "  <device channel=\"1\" id=\"3\" desc=\"\" name=\"Meter1\"/>\n"
                  "  <device channel=\"1\" id=\"200\" desc=\"d\" name=\"sub/x\"/>\n"
                  "  <device channel=\"2\" id=\"7\" desc=\"a &quot;pump&quot;\" name=\"Pump\"/>\n"
                  "</data>\n",
              Devices("xml"));
}

TEST_F(Body, TheReservedChannelIsNotReported) {
    AddDevice(193, 1, "/quorvane/Config/Hidden.xml", "");
    EXPECT_EQ(R"({"device":[]})", Devices("json"));
    EXPECT_EQ(std::string(kDeclaration) + "<data/>\n", Devices("xml"));
    AddDevice(192, 1, "/quorvane/Config/Shown.xml", "");
    AddDevice(194, 1, "/quorvane/Config/Too.xml", "");
    EXPECT_EQ(R"({"device":[{"channel":192,"id":1,"desc":"","name":"Shown"},)"
              R"({"channel":194,"id":1,"desc":"","name":"Too"}]})",
              Devices("json"));
}

TEST_F(Body, ADeviceWithoutARecordHasNoTextsAndPrintsNothing) {
    AddPoint(1, 1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(R"({"device":[{"channel":1,"id":1,"desc":"","name":""}]})", Devices("json"));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TEST_F(Body, ADeviceWithoutPointsIsNotReported) {
    ST_DEV_ATTR dev{};
    dev.ChannelNo = 1;
    GetCChannelSetInstance()->AddDev(dev);
    EXPECT_EQ(R"({"device":[]})", Devices("json"));
}

TEST(DeviceName, IsCutByFixedCounts) {
    EXPECT_EQ("Meter1", NameOfPointFile("/quorvane/Config/Meter1.xml"));
    EXPECT_EQ("x", NameOfPointFile("12345678901234567x.xml")) << "whatever the folder is";
    EXPECT_EQ("", NameOfPointFile("12345678901234567.xml"));
    EXPECT_EQ("", NameOfPointFile("1234567890123456.xml"));
    EXPECT_EQ("", NameOfPointFile(".xml"));
    EXPECT_EQ("", NameOfPointFile(""));
}

TEST_F(Body, OfAStatus) {
    EXPECT_EQ(R"({"node":{"md5":"0cc175b9","status":"0"}})", Status("json", "0cc175b9", 0));
    EXPECT_EQ(R"({"node":{"md5":"","status":"-2147483648"}})", Status("json", "", -2147483647 - 1));
    EXPECT_EQ(
        std::string(kDeclaration) + "<data>\n  <node md5=\"a&lt;b\" status=\"2\"/>\n</data>\n",
        Status("xml", "a<b", 2));
}

TEST_F(Body, ANullTextForJsonRaises) {
    char buffer[100];
    try {
        pack_.CreatePutDownStatusMemory("json", buffer, 100, nullptr, 1);
        FAIL() << "nothing was raised";
    } catch (const std::logic_error &error) {
        EXPECT_STREQ("rapidjson exception", error.what());
    }
}

TEST_F(Body, OfARecallInLocalTime) {
    EXPECT_EQ(R"({"node":{"startdt":"1970-01-01 00:00:00","enddt":"1970-01-01 01:00:00"}})",
              Recall("json", 0, 3600));
    EXPECT_EQ(std::string(kDeclaration) +
                  "<data>\n"
                  "  <node startdt=\"2024-03-05 07:08:09\" enddt=\"1969-12-31 23:59:59\"/>\n"
                  "</data>\n",
              Recall("xml", 1709622489, -1));
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    EXPECT_EQ(R"({"node":{"startdt":"2024-03-31 01:59:59","enddt":"2024-03-31 03:00:00"}})",
              Recall("json", 1711846799, 1711846800));
}

TEST_F(Body, ANullTextForXmlIsAnEmptyAttribute) {
    EXPECT_EQ(std::string(kDeclaration) + "<data>\n  <node md5=\"\" status=\"1\"/>\n</data>\n",
              Status("xml", nullptr, 1));
}

TEST_F(Body, WithoutABufferThereIsNone) {
    const recall_time_para range{0, 1};
    for (const char *format : {"json", "xml"}) {
        EXPECT_EQ(-1, pack_.CreateGateWayInfoMemory(format, nullptr, kCapacity));
        EXPECT_EQ(-1, pack_.CreateDevicesMemory(format, nullptr, kCapacity));
        EXPECT_EQ(-1, pack_.CreatePutDownStatusMemory(format, nullptr, kCapacity, "m", 0));
        EXPECT_EQ(-1, pack_.CreateDelReCallMemory(format, nullptr, kCapacity, &range));
    }
}

TEST_F(Body, WithoutARangeThereIsNoAcknowledgement) {
    char buffer[100];
    EXPECT_EQ(-1, pack_.CreateDelReCallMemory("json", buffer, 100, nullptr));
}

TEST_F(Body, DeflatedItInflatesToTheTextAndOneNul) {
    Compress();
    EXPECT_EQ(kGatewayJson + std::string(1, '\0'), Inflated(Gateway("json")));
    EXPECT_EQ(kGatewayXml + std::string(1, '\0'), Inflated(Gateway("xml")));
    EXPECT_EQ(std::string(R"({"device":[]})") + '\0', Inflated(Devices("json")));
    EXPECT_EQ(std::string(R"({"node":{"md5":"m","status":"1"}})") + '\0',
              Inflated(Status("json", "m", 1)));
    EXPECT_EQ(std::string(R"({"node":{"startdt":"1970-01-01 00:00:00","enddt":)"
                          R"("1970-01-01 00:00:01"}})") +
                  '\0',
              Inflated(Recall("json", 0, 1)));
}

TEST_F(Body, AsTextKeepsCapacityMinusTwoCharacters) {
    const std::string text = kGatewayJson;
    const int fits = static_cast<int>(text.size()) + 2;
    EXPECT_EQ(text, Gateway("json", fits));
    EXPECT_EQ(text, Gateway("json", fits + 1));
    EXPECT_TRUE(log_.Text().empty());
    EXPECT_EQ(text.substr(0, text.size() - 1), Gateway("json", fits - 1));
    ASSERT_EQ(1U, log_.Text().size()) << "a cut body is reported";
    EXPECT_EQ(kLogError, log_.Text()[0].level);
    EXPECT_EQ("{", Gateway("json", 3));
    EXPECT_EQ("", Gateway("json", 2));
    EXPECT_EQ("", Gateway("json", 1));
    EXPECT_EQ("", Gateway("json", 0));
}

TEST_F(Body, DeflatedAndTooLongIsWhatFitsAndReported) {
    Compress();
    const std::string whole = Gateway("json");
    const int fits = static_cast<int>(whole.size());
    EXPECT_EQ(whole, Gateway("json", fits));
    EXPECT_TRUE(log_.Text().empty());
    EXPECT_EQ(whole.substr(0, whole.size() - 1), Gateway("json", fits - 1));
    ASSERT_EQ(1U, log_.Text().size());
    EXPECT_EQ(kLogError, log_.Text()[0].level);
}

TEST_F(Body, OfManyDevicesIsCutAtTheBuffersEnd) {
    for (int channel = 1; channel <= 3; ++channel) {
        for (int slave = 0; slave < 200; ++slave) {
            AddDevice(channel, slave, "/quorvane/Config/Device.xml", "description");
        }
    }
    EXPECT_EQ(static_cast<std::size_t>(kCapacity - 2), Devices("json").size());
    EXPECT_EQ(static_cast<std::size_t>(kCapacity - 2), Devices("xml").size());
    EXPECT_EQ(2U, log_.Text().size());
}

}  // namespace
}  // namespace corvenna::test

extern "C" {

xmlAttrPtr __real_xmlNewProp(xmlNodePtr node, const xmlChar *name, const xmlChar *value);
void __real_xmlNodeDumpOutput(xmlOutputBufferPtr output, xmlDocPtr document, xmlNodePtr node,
                              int level, int format, const char *encoding);

xmlAttrPtr __wrap_xmlNewProp(xmlNodePtr node, const xmlChar *name, const xmlChar *value) {
    corvenna::test::CountCall();
    return __real_xmlNewProp(node, name, value);
}

void __wrap_xmlNodeDumpOutput(xmlOutputBufferPtr output, xmlDocPtr document, xmlNodePtr node,
                              int level, int format, const char *encoding) {
    corvenna::test::CountCall();
    __real_xmlNodeDumpOutput(output, document, node, level, format, encoding);
}
}
