#include "plugin/endpoints.h"

#include <gtest/gtest.h>

#include <string>

#include "base/text.h"

namespace corvenna::test {
namespace {

struct Endpoint {
    const char *name;
    void (*print)(const Cloud &cloud, Url &url);
    const char *path;
};

constexpr Endpoint kEndpoints[] = {
    {"Gateway", PrintGatewayUrl, "/gateway"},
    {"Devices", PrintDevicesUrl, "/device/SN1"},
    {"RealData", PrintRealDataUrl, "/realdata/SN1"},
    {"AlarmData", PrintAlarmDataUrl, "/alarmdata/SN1"},
    {"Recall", PrintRecallUrl, "/calldata/SN1"},
    {"Offers", PrintOffersUrl, "/downfile/SN1"},
    {"File", [](const Cloud &cloud, Url &url) { PrintFileUrl(cloud, "a/b.bin?v=1", url); },
     "/a/b.bin?v=1"},
};

ST_CLOUDSERVER_CONFIG_ATTR SettingsOf(const char *ip, std::uint16_t port, const char *dir) {
    ST_CLOUDSERVER_CONFIG_ATTR settings{};
    CopyText<63>(settings.cloudip, ip);
    settings.port = port;
    CopyText<63>(settings.Dir, dir);
    return settings;
}

std::string Printed(const Endpoint &endpoint, const Cloud &cloud) {
    Url url;
    endpoint.print(cloud, url);
    return url;
}

TEST(Endpoints, EachIsPrintedWithTheSchemeOfTheSettings) {
    const auto settings = SettingsOf("cloud.example", 8080, "/api/v1");
    for (const Endpoint &endpoint : kEndpoints) {
        SCOPED_TRACE(endpoint.name);
        const std::string rest = std::string("cloud.example:8080/api/v1") + endpoint.path;
        EXPECT_EQ(Printed(endpoint, {settings, "SN1", false}), "http://" + rest);
        EXPECT_EQ(Printed(endpoint, {settings, "SN1", true}), "https://" + rest);
    }
}

TEST(Endpoints, AnEmptyPrefixLeavesNoTrace) {
    const auto settings = SettingsOf("10.0.0.1", 80, "");
    for (const Endpoint &endpoint : kEndpoints) {
        EXPECT_EQ(Printed(endpoint, {settings, "SN1", false}),
                  std::string("http://10.0.0.1:80") + endpoint.path);
    }
}

TEST(Endpoints, APrefixGoesInAsItStands) {
    const auto settings = SettingsOf("h", 1, "nosl/");
    EXPECT_EQ(Printed(kEndpoints[0], {settings, "SN1", false}), "http://h:1nosl//gateway");
}

TEST(Endpoints, PortsAreUnsigned16BitNumbers) {
    const auto settings = SettingsOf("h", 65535, "");
    EXPECT_EQ(Printed(kEndpoints[0], {settings, "SN1", false}), "http://h:65535/gateway");
}

TEST(Endpoints, UrlsKeep126Characters) {
    const std::string host(62, 'h');
    const std::string prefix = "/" + std::string(61, 'p');
    const auto settings = SettingsOf(host.c_str(), 65535, prefix.c_str());
    for (const Endpoint &endpoint : kEndpoints) {
        for (const bool secure : {false, true}) {
            const std::string whole =
                (secure ? "https://" : "http://") + host + ":65535" + prefix + endpoint.path;
            ASSERT_GT(whole.size(), 126U);
            EXPECT_EQ(Printed(endpoint, {settings, "SN1", secure}), whole.substr(0, 126));
        }
    }
}

TEST(Endpoints, AUrlOfExactly126CharactersIsWhole) {
    const auto settings = SettingsOf("h", 1, "");
    const std::string file(126 - std::string("http://h:1/").size(), 'f');
    Url url;
    PrintFileUrl({settings, "", false}, file.c_str(), url);
    EXPECT_EQ(url, "http://h:1/" + file);
    PrintFileUrl({settings, "", false}, (file + "g").c_str(), url);
    EXPECT_EQ(url, "http://h:1/" + file);
}

}  // namespace
}  // namespace corvenna::test
