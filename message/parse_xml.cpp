#include "message/parse_xml.h"

#include "base/text.h"
#include "base/xml.h"
#include "base/xml_attributes.h"
#include "base/xml_children.h"
#include "log/log.h"
#include "message/answer_entries.h"
#include "message/time_string.h"

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
    {"name", CORVENNA_TEXT(ST_GATEWAY_INFO, gateWayName, 64)},
    {"ver", CORVENNA_TEXT(ST_GATEWAY_INFO, version, 64)},
};
constexpr Attribute<ST_GATEWAY_INFO> kSite[] = {
    {"name", CORVENNA_TEXT(ST_GATEWAY_INFO, stationName, 64)},
    // On purpose: answers in XML spell it so, unlike requests and unlike JSON.
    {"longtitude", CORVENNA_TEXT(ST_GATEWAY_INFO, longitude, 64)},
    {"latitude", CORVENNA_TEXT(ST_GATEWAY_INFO, latitude, 64)},
};
constexpr Attribute<ST_GATEWAY_INFO> kOwner[] = {
    {"name", CORVENNA_TEXT(ST_GATEWAY_INFO, ownerName, 64)},
    {"desc", CORVENNA_TEXT(ST_GATEWAY_INFO, ownerDesc, 64)},
};
constexpr Attribute<ST_GATEWAY_INFO> kRoom[] = {
    {"name", CORVENNA_TEXT(ST_GATEWAY_INFO, roomName, 64)},
    {"desc", CORVENNA_TEXT(ST_GATEWAY_INFO, roomDesc, 64)},
};

constexpr Attribute<ST_DEVICE_INFO> kDevice[] = {
    {"channel",
     [](auto &dev, auto value) { dev.channel = static_cast<std::uint8_t>(Decimal(value)); }},
    {"id", [](auto &dev, auto value) { dev.id = static_cast<std::uint8_t>(Decimal(value)); }},
    {"name", CORVENNA_TEXT(ST_DEVICE_INFO, name, 128)},
    {"desc", CORVENNA_TEXT(ST_DEVICE_INFO, desc, 128)},
};

constexpr Attribute<down_file_para> kDownFile[] = {
    {"file", CORVENNA_TEXT(down_file_para, file, 512)},
    {"md5", CORVENNA_TEXT(down_file_para, md5, 64)},
    {"type", [](auto &file, auto value) { file.type = static_cast<std::int32_t>(Decimal(value)); }},
    {"path", CORVENNA_TEXT(down_file_para, path, 512)},
};

std::int32_t Seconds(const char *text) {
    return static_cast<std::int32_t>(ReadTime(text));
}

constexpr Attribute<recall_time_para> kRecall[] = {
    {"startdt", [](auto &range, auto value) { range.start = Seconds(value); }},
    {"enddt", [](auto &range, auto value) { range.end = Seconds(value); }},
};

/// Ours: what is shorter than "<a/>" is no document, and libxml2 is not asked. A server that sends
/// its answer byte by byte would have it make a parser for each.
constexpr int kShortestDocument = 4;

/// @return null when there is no document.
XmlDocument ParseDocument(const char *data, int length, const XmlGuard &guard) {
    if (length < kShortestDocument) {
        return nullptr;
    }
    // Ours: what libxml2 found no memory for is missing in a document that it still calls whole.
    return WholeDocument(xmlParseMemory(data, length), guard, [&](xmlParserCtxtPtr context) {
        return xmlCtxtReadMemory(context, data, length, nullptr, nullptr, 0);
    });
}

/// A parsed answer. What cannot be used is logged.
class Answer {
public:
    Answer(const char *data, int length, const AnswerMessages &messages);

    /// The element "data"; null when the answer cannot be used.
    const xmlNode *Data() const { return data_; }

private:
    XmlGuard guard_;
    XmlDocument document_;
    const xmlNode *data_ = nullptr;
};

Answer::Answer(const char *data, int length, const AnswerMessages &messages)
    : document_(ParseDocument(data, length, guard_)) {
    xmlKeepBlanksDefault(0);
    const xmlNode *root = document_ != nullptr ? xmlDocGetRootElement(document_.get()) : nullptr;
    if (root == nullptr) {
        log_Text(kLogWarn, "%s", messages.empty);
    } else if (!IsElement(root, "data")) {
        log_Text(kLogWarn, "%s", messages.wrongRoot);
    } else {
        data_ = root;
    }
}

/// Appends one record for each child of that name, each from an empty record.
template <class Record, std::size_t Rows>
int ParseList(const Answer &answer, const char *element, const Attribute<Record> (&rows)[Rows],
              std::vector<Record> &list, bool &cut) {
    if (answer.Data() == nullptr) {
        return -1;
    }
    AnswerEntries<Record> entries(list);
    ForEachChild(answer.Data(), element, [&](const xmlNode *child) {
        if (Record *const record = entries.Add()) {
            ReadAttributes(child, rows, *record);
        }
    });
    entries.Keep(cut);
    return 0;
}

}  // namespace

int ParseGatewayXml(const char *data, int length, ST_GATEWAY_INFO &info) {
    const Answer answer(data, length, kGatewayMessages);
    if (answer.Data() == nullptr) {
        return -1;
    }
    ST_GATEWAY_INFO found = info;
    ForEachChild(answer.Data(), "gw", [&](const xmlNode *gateway) {
        const auto read = [&](const char *name, const auto &rows) {
            ForEachChild(gateway, name,
                         [&](const xmlNode *child) { ReadAttributes(child, rows, found); });
        };
        ReadAttributes(gateway, kGateway, found);
        read("site", kSite);
        read("owner", kOwner);
        read("room", kRoom);
    });
    info = found;
    return 0;
}

int ParseDevicesXml(const char *data, int length, std::vector<ST_DEVICE_INFO> &devices, bool &cut) {
    return ParseList(Answer(data, length, kDevicesMessages), "device", kDevice, devices, cut);
}

int ParseDownFilesXml(const char *data, int length, std::vector<down_file_para> &files, bool &cut) {
    return ParseList(Answer(data, length, kRecallMessages), "node", kDownFile, files, cut);
}

int ParseRecallsXml(const char *data, int length, std::vector<recall_time_para> &ranges,
                    bool &cut) {
    return ParseList(Answer(data, length, kRecallMessages), "node", kRecall, ranges, cut);
}

}  // namespace corvenna
