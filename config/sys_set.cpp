#include "config/sys_set.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "base/file_descriptor.h"
#include "base/text.h"
#include "base/xml.h"
#include "base/xml_attributes.h"
#include "base/xml_children.h"
#include "config/configuration_document.h"
#include "config/intervals.h"
#include "log/log.h"

using namespace corvenna;

namespace {

using Cloud = ST_CLOUDSERVER_CONFIG_ATTR;
using Gateway = ST_GATEWAY_INFO;
using Https = ST_HTTPS_CERT_INFO;

constexpr char kVersionFile[] = "/quorvane/Config/version/main-version.conf";
// A gateway without an address talks to nobody.
constexpr char kDefaultCloudIp[] = "127.0.0.1";

constexpr RootRule kRoot = {
    "sysConfig",
    "SysConfigXml document is null",
    "SysConfigXml document,Empty document.",
    "SysConfigXml document,root is not sysConfig.",
};

constexpr Attribute<Gateway> kStation[] = {
    {"stationName", CORVENNA_TEXT(Gateway, stationName, 256)},
    {"longitude", CORVENNA_TEXT(Gateway, longitude, 256)},
    {"latitude", CORVENNA_TEXT(Gateway, latitude, 256)},
};
constexpr Attribute<Gateway> kRooms[] = {
    {"roomName", CORVENNA_TEXT(Gateway, roomName, 256)},
    {"desc", CORVENNA_TEXT(Gateway, roomDesc, 256)},
};
constexpr Attribute<Gateway> kBaseInfo[] = {
    {"gatewayName", CORVENNA_TEXT(Gateway, gateWayName, 256)},
    {"address", CORVENNA_TEXT(Gateway, address, 256)},
};
constexpr Attribute<Gateway> kOwner[] = {
    {"ownerName", CORVENNA_TEXT(Gateway, ownerName, 256)},
    {"desc", CORVENNA_TEXT(Gateway, ownerDesc, 256)},
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
    {{"cloudip", CORVENNA_TEXT(Cloud, cloudip, 63)}, kDefaultCloudIp},
    {{"port", [](auto &cloud, auto value) { cloud.port = Word(value); }}, "80"},
    {{"checked", [](auto &cloud, auto value) { cloud.checked = Byte(value); }}, "0"},
    {{"Dir", CORVENNA_TEXT(Cloud, Dir, 63)}, ""},
    {{"RealDataInv",
      [](auto &cloud, auto value) { cloud.RealDataInv = RealDataInterval(Word(value)); }},
     "0"},  // as a value below a minute
    {{"AlarmDataInv",
      [](auto &cloud, auto value) { cloud.AlarmDataInv = RaisedTo(30, Signed(value)); }},
     "-1"},
    {{"HeartInterval",
      [](auto &cloud, auto value) { cloud.HeartBeatInv = RaisedTo(60, Signed(value)); }},
     "-1"},
    // On purpose: 60 when absent, where the other intervals mean "never".
    {{"FailInterval",
      [](auto &cloud, auto value) { cloud.CheckFailInv = RaisedTo(30, Signed(value)); }},
     "60"},
    {{"RecallInterval",
      [](auto &cloud, auto value) { cloud.RecallInv = RaisedTo(60, Signed(value)); }},
     "-1"},
    {{"FileType", CORVENNA_TEXT(Cloud, filetype, 15)}, "json"},
    {{"IsCompress", [](auto &cloud, auto value) { cloud.isCompress = Byte(value); }}, "0"},
    {{"TcpChannel", [](auto &cloud, auto value) { cloud.TcpChannel = Byte(value); }}, "0"},
};

constexpr Attribute<Https> kHttps[] = {
    {"checked", [](auto &https, auto value) { https.checked = Byte(value); }},
    {"certfile", CORVENNA_TEXT(Https, certfile, 127)},
    {"user", CORVENNA_TEXT(Https, user, 63)},
    {"password", CORVENNA_TEXT(Https, passwd, 63)},
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
    ReadWithDefaults(element, kCloud, cloud);
    ForEachChild(element, "https",
                 [&](const xmlNode *child) { ReadAttributes(child, kHttps, https); });
}

/// Ours: what is no regular file counts as one that cannot be opened; a pipe would let the host
/// wait.
FileDescriptor OpenVersion() {
    FileDescriptor file(open(kVersionFile, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (file && (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        file.Close();
    }
    return file;
}

/// Reads a line with its end, cut to the buffer. Needs no memory, so the version is never lost for
/// lack of it.
/// @return false when the file cannot be read.
template <std::size_t Size>
bool ReadLine(const FileDescriptor &file, char (&line)[Size]) {
    std::size_t length = 0;
    while (length < Size - 1) {
        const ssize_t count =
            TEMP_FAILURE_RETRY(read(file.Get(), line + length, Size - 1 - length));
        if (count < 0) {
            return false;
        }
        if (count == 0) {
            break;
        }
        length += static_cast<std::size_t>(count);
    }
    line[length] = '\0';
    if (char *end = std::strchr(line, '\n')) {
        end[1] = '\0';
    }
    return true;
}

}  // namespace

CSysSet::CSysSet() = default;

CSysSet::~CSysSet() = default;

int CSysSet::Open(const char *path) {
    return document_.Attempt([&] {
        const XmlGuard guard;
        if (!document_.Open(path, guard)) {
            log_Text(kLogError, "parsed %s failed", Shown(path));
            return -1;
        }
        // On purpose: a rejected document does not fail Open; the cloud service stays off.
        Load(guard);
        return 0;
    });
}

int CSysSet::LoadNodeFromXml() {
    return document_.Attempt([this] { return Load(XmlGuard()); });
}

int CSysSet::Load(const XmlGuard &guard) {
    const xmlNode *root = document_.Root(kRoot, guard);
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
    return document_.Close();
}

int CSysSet::IsOpen() const {
    return document_.IsOpen();
}

int CSysSet::getVersionInfo() {
    if (access(kVersionFile, F_OK) != 0) {
        std::printf("/quorvane/Config/version/main-version.conf is not exist");
        return -1;
    }
    const FileDescriptor file(OpenVersion());
    char line[100];
    // Ours: a card that fails is no gateway without a version.
    if (!file || !ReadLine(file, line)) {
        return -1;
    }
    // On purpose: the line's end stays in the version and travels to the server with it.
    CopyText<255>(gateway_.version, line);
    return 0;
}
