#include "plugin/registration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "base/text.h"
#include "config/channel_set.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/plugin/gateway.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

class RegistrationTest : public testing::TestWithParam<Wire> {
protected:
    RegistrationTest() { Configure(server_, GetParam()); }

    std::string GatewayUrl() const { return server_.Url("/cloud/gateway"); }
    std::string DevicesUrl() const { return server_.Url("/cloud/device/GW4567"); }

    ScriptedServer server_{GetParam().protocol};
    const LogCapture log_;
};

std::string ContentType(const std::string &format) {
    return "application/" + format + ";charset=UTF-8";
}

TEST_P(RegistrationTest, AnnouncesTheGatewayAndThenItsDevices) {
    EXPECT_EQ(PrePost(), 0);
    const std::vector<Request> requests = server_.Requests();
    ASSERT_THAT(Lines(requests), ElementsAre("POST /cloud/gateway", "POST /cloud/device/GW4567"));
    for (const Request &request : requests) {
        EXPECT_EQ(request.Header("Content-Type"), ContentType(GetParam().format));
    }
    if (GetParam().format == "json") {
        EXPECT_THAT(requests[0].body, StartsWith(R"({"sn":"GW4567",)"));
        EXPECT_EQ(requests[1].body, R"({"device":[]})");
    } else {
        EXPECT_THAT(requests[0].body,
                    StartsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<data>\n  <gw "
                               "sn=\"GW4567\""));
        EXPECT_EQ(requests[1].body, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<data/>\n");
    }
}

TEST_P(RegistrationTest, AllFourMessagesSpeakOfDevices) {
    PrePost();
    EXPECT_THAT(log_.Text(),
                ElementsAre(LogEntry{3, "start post Devices info to " + GatewayUrl()},
                            LogEntry{3, "post Devices info to " + GatewayUrl() + " finish"},
                            LogEntry{3, "start post Devices info to " + DevicesUrl()},
                            LogEntry{3, "post Devices info to " + DevicesUrl() + " finish"}));
}

TEST_P(RegistrationTest, ARefusedGatewaySendsNoDevices) {
    server_.Next(Reply(500));
    EXPECT_EQ(PrePost(), -1);
    EXPECT_THAT(Lines(server_.Requests()), ElementsAre("POST /cloud/gateway"));
    EXPECT_EQ(log_.Text().back(), (LogEntry{5, "Post GateWay failed\n"}));
    EXPECT_THAT(log_.Text(),
                Contains(LogEntry{3, "post Devices info to " + GatewayUrl() + " finish"}));
}

TEST_P(RegistrationTest, RefusedDevicesFailThePrePost) {
    server_.Next(Reply(200));
    server_.Next(Reply(404));
    EXPECT_EQ(PrePost(), -1);
    EXPECT_EQ(server_.Requests().size(), 2U);
    EXPECT_EQ(log_.Text().back(), (LogEntry{5, "post Devices failed\n"}));
}

TEST_P(RegistrationTest, OnlyStatus200And201Accept) {
    for (const int status : {200, 201}) {
        server_.Next(Reply(status));
        EXPECT_EQ(HTTP_POSTGateWayInfo(), 0) << status;
        server_.Next(Reply(status));
        EXPECT_EQ(HTTP_POSTDevices(), 0) << status;
    }
    for (const int status : {202, 204, 301, 400, 426, 500}) {
        server_.Next(Reply(status));
        EXPECT_NE(HTTP_POSTGateWayInfo(), 0) << status;
        server_.Next(Reply(status));
        EXPECT_NE(HTTP_POSTDevices(), 0) << status;
    }
}

TEST_P(RegistrationTest, AConnectionThatBreaksFails) {
    server_.Next(CloseAt(Stage::kRequest));
    EXPECT_EQ(PrePost(), -1);
    EXPECT_EQ(log_.Text().back(), (LogEntry{5, "Post GateWay failed\n"}));
}

TEST_P(RegistrationTest, AnAnswerThatIsCutOffFailsAlsoWithStatus200) {
    server_.Next(ReplyTruncated(200, 100, "part"));
    EXPECT_EQ(PrePost(), -1);
}

TEST_P(RegistrationTest, TheAnswersAreDiscarded) {
    server_.Otherwise([](const Request &) { return Reply(200, "{\"name\":\"other\"}"); });
    EXPECT_EQ(PrePost(), 0);
    for (const LogEntry &entry : log_.Text()) {
        EXPECT_THAT(entry.text, testing::HasSubstr("post Devices info"));
    }
}

TEST_P(RegistrationTest, TheHeartBeatSendsNothing) {
    EXPECT_EQ(SyncHeartBeat(), 0);
    EXPECT_EQ(server_.Connections(), 0);
}

INSTANTIATE_TEST_SUITE_P(Wires, RegistrationTest, testing::ValuesIn(AllWires()),
                         [](const auto &row) { return NameOf(row.param); });

TEST(Registration, CompressedBodiesAreAnnouncedAsDeflated) {
    for (const std::string format : {"json", "xml"}) {
        ScriptedServer server;
        Configure(server, {format, Protocol::kHttp, true});
        EXPECT_EQ(PrePost(), 0);
        const std::vector<Request> requests = server.Requests();
        ASSERT_EQ(requests.size(), 2U);
        EXPECT_EQ(requests[1].Header("Content-Encoding"), "deflate");
        EXPECT_EQ(Inflated(requests[1].body),
                  format == "json" ? R"({"device":[]})"
                                   : "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<data/>\n");
    }
}

TEST(Registration, AnUnknownFormatMakesNoRequest) {
    ScriptedServer server;
    Configure(server, {"csv", Protocol::kHttp, false});
    const LogCapture log;
    EXPECT_EQ(HTTP_POSTGateWayInfo(), -1);
    EXPECT_EQ(HTTP_POSTDevices(), -1);
    EXPECT_EQ(PrePost(), -1);
    EXPECT_EQ(server.Connections(), 0);
    const LogEntry noBody{5, "no body for a request of format 'csv'"};
    EXPECT_EQ(log.Text(),
              (std::vector<LogEntry>{noBody, noBody, noBody, {5, "Post GateWay failed\n"}}));
}

TEST(Registration, ADeviceListThatDoesNotFitIsCutAndSent) {
    ScriptedServer server;
    Configure(server);
    MAP_CHANNEL_POINT *points = nullptr;
    GetCChannelSetInstance()->GetAttr(&points);
    for (int channel = 0; channel < 9; ++channel) {
        for (int device = 0; device < 200; ++device) {
            (*points)[static_cast<std::uint8_t>(channel)][static_cast<std::uint8_t>(device)];
        }
    }
    const LogCapture log;
    EXPECT_EQ(HTTP_POSTDevices(), 0);
    EXPECT_EQ(server.Requests()[0].body.size(), 20478U);
    EXPECT_EQ(log.Text().front().level, 5);
}

TEST(Registration, NoServerFails) {
    ScriptedServer server;
    Configure(server);
    GetCSysSetInstance()->GetCloudConfigAttr()->port = 1;  // nobody is given that one
    EXPECT_EQ(PrePost(), -1);
    EXPECT_EQ(server.Connections(), 0);
}

TEST(Registration, SettingsAreReadOnEveryCall) {
    ScriptedServer first;
    Configure(first);
    EXPECT_EQ(PrePost(), 0);
    ScriptedServer second(Protocol::kHttps);
    Configure(second, {"xml", Protocol::kHttps, false});
    EXPECT_EQ(PrePost(), 0);
    EXPECT_EQ(first.Requests().size(), 2U);
    EXPECT_EQ(second.Requests().size(), 2U);
}

}  // namespace
}  // namespace corvenna::test
