#include "config/sys_set.h"

#include <unistd.h>

#include <cstdio>

#include "base/attributes.h"
#include "base/children.h"
#include "base/handle.h"
#include "base/text.h"
#include "base/xml.h"
#include "config/intervals.h"
#include "config/root.h"
#include "log/log.h"

namespace {

using corvenna::Attribute;
using corvenna::CopyText;
using corvenna::Decimal;
using corvenna::DefaultedAttribute;
using corvenna::ForEachChild;
using corvenna::ReadAttributes;
using corvenna::XmlGuard;

using Cloud = ST_CLOUDSERVER_CONFIG_ATTR;
using Gateway = ST_GATEWAY_INFO;
using Https = ST_HTTPS_CERT_INFO;

constexpr char kVersionFile[] = "/quorvane/Config/version/main-version.conf";
// A gateway without an address talks to nobody.
constexpr char kDefaultCloudIp[] = "127.0.0.1";

constexpr corvenna::RootMessages kRootMessages = {
    "SysConfigXml document is null",
    "SysConfigXml document,Empty document.",
    "SysConfigXml document,root is not sysConfig.",
};

constexpr Attribute<Gateway> kStation[] = {
    {"stationName", [](auto &info, auto value) { CopyText<256>(info.stationName, value); }},
    {"longitude", [](auto &info, auto value) { CopyText<256>(info.longitude, value); }},
    {"latitude", [](auto &info, auto value) { CopyText<256>(info.latitude, value); }},
};
constexpr Attribute<Gateway> kRooms[] = {
    {"roomName", [](auto &info, auto value) { CopyText<256>(info.roomName, value); }},
    {"desc", [](auto &info, auto value) { CopyText<256>(info.roomDesc, value); }},
};
constexpr Attribute<Gateway> kBaseInfo[] = {
    {"gatewayName", [](auto &info, auto value) { CopyText<256>(info.gateWayName, value); }},
    {"address", [](auto &info, auto value) { CopyText<256>(info.address, value); }},
};
constexpr Attribute<Gateway> kOwner[] = {
    {"ownerName", [](auto &info, auto value) { CopyText<256>(info.ownerName, value); }},
    {"desc", [](auto &info, auto value) { CopyText<256>(info.ownerDesc, value); }},
};

std::uint8_t Byte(const char *value) {
    return static_cast<std::uint8_t>(Decimal(value));
}
std::uint16_t Word(const char *value) {
    return static_cast<std::uint16_t>(Decimal(value));
}
std::int16_t Signed(const char *value) {
    return static_cast<std::int16_t>(Decimal(value));
}

constexpr DefaultedAttribute<Cloud> kCloud[] = {
    {"cloudip", [](auto &cloud, auto value) { CopyText<63>(cloud.cloudip, value); },
     [](auto &cloud) { CopyText<63>(cloud.cloudip, kDefaultCloudIp); }},
    {"port", [](auto &cloud, auto value) { cloud.port = Word(value); },
     [](auto &cloud) { cloud.port = 80; }},
    {"checked", [](auto &cloud, auto value) { cloud.checked = Byte(value); },
     [](auto &cloud) { cloud.checked = 0; }},
    {"Dir", [](auto &cloud, auto value) { CopyText<63>(cloud.Dir, value); },
     [](auto &cloud) { CopyText<63>(cloud.Dir, ""); }},
    {"RealDataInv",
     [](auto &cloud, auto value) { cloud.RealDataInv = corvenna::RealDataInterval(Word(value)); },
     [](auto &cloud) { cloud.RealDataInv = corvenna::kDefaultRealDataInterval; }},
    {"AlarmDataInv",
     [](auto &cloud, auto value) { cloud.AlarmDataInv = corvenna::RaisedTo(30, Signed(value)); },
     [](auto &cloud) { cloud.AlarmDataInv = -1; }},
    {"HeartInterval",
     [](auto &cloud, auto value) { cloud.HeartBeatInv = corvenna::RaisedTo(60, Signed(value)); },
     [](auto &cloud) { cloud.HeartBeatInv = -1; }},
    // On purpose: 60 when absent, where the other intervals mean "never".
    {"FailInterval",
     [](auto &cloud, auto value) { cloud.CheckFailInv = corvenna::RaisedTo(30, Signed(value)); },
     [](auto &cloud) { cloud.CheckFailInv = 60; }},
    {"RecallInterval",
     [](auto &cloud, auto value) { cloud.RecallInv = corvenna::RaisedTo(60, Signed(value)); },
     [](auto &cloud) { cloud.RecallInv = -1; }},
    {"FileType", [](auto &cloud, auto value) { CopyText<15>(cloud.filetype, value); },
     [](auto &cloud) { CopyText<15>(cloud.filetype, "json"); }},
    {"IsCompress", [](auto &cloud, auto value) { cloud.isCompress = Byte(value); },
     [](auto &cloud) { cloud.isCompress = 0; }},
    {"TcpChannel", [](auto &cloud, auto value) { cloud.TcpChannel = Byte(value); },
     [](auto &cloud) { cloud.TcpChannel = 0; }},
};

constexpr Attribute<Https> kHttps[] = {
    {"checked", [](auto &https, auto value) { https.checked = Byte(value); }},
    {"certfile", [](auto &https, auto value) { CopyText<127>(https.certfile, value); }},
    {"user", [](auto &https, auto value) { CopyText<63>(https.user, value); }},
    {"password", [](auto &https, auto value) { CopyText<63>(https.passwd, value); }},
};

void ReadInfo(const xmlNode *element, Gateway &info) {
    const auto read = [&](const char *name, const auto &rows) {
        ForEachChild(element, name,
                     [&](const xmlNode *child) { ReadAttributes(child, rows, info); });
    };
    read("station", kStation);
    read("rooms", kRooms);
    read("baseInfo", kBaseInfo);
    read("owner", kOwner);
}

void ReadCloud(const xmlNode *element, Cloud &cloud, Https &https) {
    corvenna::ReadWithDefaults(element, kCloud, cloud);
    ForEachChild(element, "https",
                 [&](const xmlNode *child) { ReadAttributes(child, kHttps, https); });
}

}  // namespace

CSysSet::CSysSet() = default;

CSysSet::~CSysSet() {
    Close();
}

int CSysSet::Open(const char *path) {
    const XmlGuard guard;
    document_ = corvenna::ParseConfiguration(path);
    if (document_ == nullptr) {
        log_Text(kLogError, "parsed %s failed", path != nullptr ? path : "");
        return -1;
    }
    xmlKeepBlanksDefault(0);
    Load();  // On purpose: a rejected document does not fail Open; the cloud service stays off.
    return 0;
}

int CSysSet::LoadNodeFromXml() {
    const XmlGuard guard;
    return Load();
}

int CSysSet::Load() {
    const xmlNode *root = corvenna::CheckRoot(document_, "sysConfig", kRootMessages);
    if (root == nullptr) {
        return -1;
    }
    ForEachChild(root, "Info", [&](const xmlNode *element) { ReadInfo(element, gateway_); });
    ForEachChild(root, "cloud",
                 [&](const xmlNode *element) { ReadCloud(element, cloud_, https_); });
    getVersionInfo();
    return 0;
}

int CSysSet::Close() {
    const XmlGuard guard;
    if (document_ == nullptr) {
        return -1;
    }
    document_.reset();
    return 0;
}

int CSysSet::IsOpen() const {
    return document_ != nullptr ? 0 : -1;
}

int CSysSet::getVersionInfo() {
    if (access(kVersionFile, F_OK) != 0) {
        std::printf("/quorvane/Config/version/main-version.conf is not exist");
        return -1;
    }
    const corvenna::File file(std::fopen(kVersionFile, "r"));
    if (file == nullptr) {
        return -1;
    }
    char line[100] = "";
    if (std::fgets(line, sizeof line, file.get()) == nullptr) {
        line[0] = '\0';
    }
    // On purpose: the line's end stays in the version and travels to the server with it.
    CopyText<255>(gateway_.version, line);
    return 0;
}
