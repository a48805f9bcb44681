#include "message/parse_xml.h"

#include "base/attributes.h"
#include "base/children.h"
#include "base/text.h"
#include "base/xml.h"
#include "log/log.h"
#include "message/parse_memory.h"

namespace corvenna {
namespace {

/// What is said of an answer that cannot be used.
struct AnswerMessages {
    const char *empty;
    const char *wrongRoot;
};

constexpr AnswerMessages kGatewayMessages = {
    "ParseGateWayInfoFromMemory err, Data is empty",
    "ParseGateWayInfoFromMemory,Root node is not data",
};
constexpr AnswerMessages kDevicesMessages = {
    "ParseDevicesInfoFromMemory err, Data is empty",
    "ParseDevicesInfoFromMemory,Root node is not data",
};
// On purpose: the download list reports with these too.
constexpr AnswerMessages kRecallMessages = {
    "ParseRecallTimeFromMemory err, Data is empty",
    "ParseRecallTimeFromMemory,Root node is not data",
};

constexpr Attribute<ST_GATEWAY_INFO> kGateway[] = {
    {"name", [](auto &info, auto value) { CopyText<64>(info.gateWayName, value); }},
    {"ver", [](auto &info, auto value) { CopyText<64>(info.version, value); }},
};
constexpr Attribute<ST_GATEWAY_INFO> kSite[] = {
    {"name", [](auto &info, auto value) { CopyText<64>(info.stationName, value); }},
    // On purpose: answers in XML spell it so, unlike requests and unlike JSON.
    {"longtitude", [](auto &info, auto value) { CopyText<64>(info.longitude, value); }},
    {"latitude", [](auto &info, auto value) { CopyText<64>(info.latitude, value); }},
};
constexpr Attribute<ST_GATEWAY_INFO> kOwner[] = {
    {"name", [](auto &info, auto value) { CopyText<64>(info.ownerName, value); }},
    {"desc", [](auto &info, auto value) { CopyText<64>(info.ownerDesc, value); }},
};
constexpr Attribute<ST_GATEWAY_INFO> kRoom[] = {
    {"name", [](auto &info, auto value) { CopyText<64>(info.roomName, value); }},
    {"desc", [](auto &info, auto value) { CopyText<64>(info.roomDesc, value); }},
};

constexpr Attribute<ST_DEVICE_INFO> kDevice[] = {
    {"channel",
     [](auto &dev, auto value) { dev.channel = static_cast<std::uint8_t>(Decimal(value)); }},
    {"id", [](auto &dev, auto value) { dev.id = static_cast<std::uint8_t>(Decimal(value)); }},
    {"name", [](auto &dev, auto value) { CopyText<128>(dev.name, value); }},
    {"desc", [](auto &dev, auto value) { CopyText<128>(dev.desc, value); }},
};

constexpr Attribute<down_file_para> kDownFile[] = {
    {"file", [](auto &file, auto value) { CopyText<512>(file.file, value); }},
    {"md5", [](auto &file, auto value) { CopyText<64>(file.md5, value); }},
    {"type", [](auto &file, auto value) { file.type = static_cast<std::int32_t>(Decimal(value)); }},
    {"path", [](auto &file, auto value) { CopyText<512>(file.path, value); }},
};

std::int32_t Seconds(const char *text) {
    return static_cast<std::int32_t>(CParseMemory::TimeString2Timet(text));
}

constexpr Attribute<recall_time_para> kRecall[] = {
    {"startdt", [](auto &range, auto value) { range.start = Seconds(value); }},
    {"enddt", [](auto &range, auto value) { range.end = Seconds(value); }},
};

/// Parses an answer and hands the root "data" to read(root).
template <class Read>
int ParseAnswer(const char *data, int length, const AnswerMessages &messages, Read read) {
    const XmlGuard guard;
    const XmlDocument document(xmlParseMemory(data, length));
    xmlKeepBlanksDefault(0);
    const xmlNode *root = document != nullptr ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root == nullptr) {
        log_Text(4, "%s", messages.empty);
        return -1;
    }
    if (!IsElement(root, "data")) {
        log_Text(4, "%s", messages.wrongRoot);
        return -1;
    }
    read(root);
    return 0;
}

/// Appends one record for each child of that name, each from an empty record.
template <class Record, std::size_t Rows>
int ParseList(const char *data, int length, const AnswerMessages &messages, const char *element,
              const Attribute<Record> (&rows)[Rows], std::vector<Record> &list) {
    return ParseAnswer(data, length, messages, [&](const xmlNode *root) {
        std::vector<Record> found;
        ForEachChild(root, element, [&](const xmlNode *child) {
            found.emplace_back();
            ReadAttributes(child, rows, found.back());
        });
        list.insert(list.end(), found.begin(), found.end());
    });
}

}  // namespace

int ParseGatewayXml(const char *data, int length, ST_GATEWAY_INFO &info) {
    return ParseAnswer(data, length, kGatewayMessages, [&](const xmlNode *root) {
        ForEachChild(root, "gw", [&](const xmlNode *gateway) {
            const auto read = [&](const char *name, const auto &rows) {
                ForEachChild(gateway, name,
                             [&](const xmlNode *child) { ReadAttributes(child, rows, info); });
            };
            ReadAttributes(gateway, kGateway, info);
            read("site", kSite);
            read("owner", kOwner);
            read("room", kRoom);
        });
    });
}

int ParseDevicesXml(const char *data, int length, std::vector<ST_DEVICE_INFO> &devices) {
    return ParseList(data, length, kDevicesMessages, "device", kDevice, devices);
}

int ParseDownFilesXml(const char *data, int length, std::vector<down_file_para> &files) {
    return ParseList(data, length, kRecallMessages, "node", kDownFile, files);
}

int ParseRecallsXml(const char *data, int length, std::vector<recall_time_para> &ranges) {
    return ParseList(data, length, kRecallMessages, "node", kRecall, ranges);
}

}  // namespace corvenna
