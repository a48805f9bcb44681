// Data files of any points, values and alarms, read back by parsers that know nothing of what wrote
// them: json-c and expat. What they find must be what went in, and no more. In part of the runs an
// allocation fails: then there is the whole file or none.
//
// An input is two bytes and records. The first: 1 XML, 2 compressed, 4 alarms; the second: which
// allocation fails, 0 none. A record: device, point (2), value (8), name and unit behind
// their lengths; an alarm takes its threshold from the next record's value.

#include <expat.h>
#include <json-c/json.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "base/text.h"
#include "config/channel_set.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/support/fuzz_memory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

using corvenna::CopyText;

/// One entry of a document, by the keys of XML; also what an alarm has.
struct Entry {
    std::string channel;
    std::string device;
    std::string dataId;
    std::string name;
    std::string unit;
    std::string value;
    std::string threshold;

    bool operator==(const Entry &other) const {
        return channel == other.channel && device == other.device && dataId == other.dataId &&
               name == other.name && unit == other.unit && value == other.value &&
               threshold == other.threshold;
    }
};
using Entries = std::vector<Entry>;

[[noreturn]] void Wrong(const char *what, const std::string &text) {
    std::fprintf(stderr, "%s:\n%s\n", what, text.c_str());
    std::abort();
}

// ---- What goes in ----

class Bytes {
public:
    Bytes(const std::uint8_t *data, std::size_t size) : at_(data), end_(data + size) {}

    bool AreLeft() const { return at_ != end_; }
    std::uint8_t Byte() { return AreLeft() ? *at_++ : 0; }
    double Double() {
        std::uint64_t bits = 0;
        for (int i = 0; i < 8; ++i) {
            bits = bits << 8 | Byte();
        }
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    /// Without NUL, as records hold texts.
    std::string Text() {
        std::string text;
        for (unsigned left = Byte() % 127; left > 0 && AreLeft(); --left) {
            const std::uint8_t byte = Byte();
            text += byte == 0 ? ' ' : static_cast<char>(byte);
        }
        return text;
    }

private:
    const std::uint8_t *at_;
    const std::uint8_t *end_;
};

constexpr unsigned kStatusPoint = 0x0100;
constexpr unsigned kPlcChannel = 192;
constexpr unsigned kHiddenChannel = 193;

struct Input {
    bool isXml = false;
    bool isCompressed = false;
    bool isAlarms = false;
    std::size_t failing = 0;
    MAP_POINTID_ATTR points;
    Real_Data_Struct values;
    Alarm_Data_Struct alarms;
};

Input Read(Bytes bytes) {
    static constexpr std::uint32_t kDevices[] = {0x01030000, 0x01040000, 0x02010000, 0xB4FF0000,
                                                 0xC0010000, 0xC1010000, 0x00000000, 0xFFFF0000};
    Input input;
    const std::uint8_t flags = bytes.Byte();
    input.isXml = (flags & 1) != 0;
    input.isCompressed = (flags & 2) != 0;
    input.isAlarms = (flags & 4) != 0;
    input.failing = bytes.Byte();
    while (bytes.AreLeft()) {
        const std::uint8_t kind = bytes.Byte();
        const std::uint32_t device = kDevices[kind % std::size(kDevices)];
        const unsigned high = bytes.Byte();
        const unsigned number = high << 8U | bytes.Byte();
        const std::uint32_t id = device | number;
        ST_POINTID_ATTR point{};
        point.db_link = id;
        point.GroupNo = static_cast<std::uint8_t>(device >> 24);
        point.DevId = static_cast<std::uint8_t>(device >> 16);
        const double value = bytes.Double();
        CopyText<127>(point.Name, bytes.Text().c_str());
        CopyText<127>(point.EUUnits, bytes.Text().c_str());
        input.points[id] = point;
        // A status may be missing, and then the device is down.
        if (number != kStatusPoint || id >> 24 == kPlcChannel || kind < 128) {
            input.values[id] = value;
        } else {
            input.values.erase(id);
        }
        const double threshold = input.alarms.empty() ? 0 : input.alarms.back().alarmValue;
        input.alarms.push_back({static_cast<std::int32_t>(number << 16), id, threshold, value, kind,
                                static_cast<std::int32_t>(number)});
    }
    return input;
}

// ---- What must come out ----

std::string ValueText(double value, std::size_t longest) {
    char text[512];
    std::snprintf(text, sizeof text, "%.3f", value);
    return std::string(text).substr(0, longest);
}

std::string Hexadecimal(unsigned dataId) {
    char text[9];
    std::snprintf(text, sizeof text, "%08x", dataId);
    return text;
}

Entry EntryOf(std::uint32_t dataId) {
    return {std::to_string(dataId >> 24),
            std::to_string(dataId >> 16 & 0xFF),
            Hexadecimal(dataId),
            "",
            "",
            "",
            ""};
}

bool IsDown(const Input &input, std::uint32_t device) {
    const auto status = input.values.find(device | kStatusPoint);
    return status == input.values.end() || status->second < 0.1;
}

Entries RealData(const Input &input) {
    Entries entries;
    for (const auto &[id, point] : input.points) {
        const std::uint32_t device = id & 0xFFFF0000;
        Entry entry = EntryOf(id);
        entry.name = point.Name;
        entry.unit = point.EUUnits;
        const bool hasStatus = id >> 24 != kPlcChannel;
        const bool isStatus = hasStatus && (id & 0xFFFF) == kStatusPoint;
        if (id >> 24 == kHiddenChannel) {
            continue;
        }
        if (hasStatus && IsDown(input, device)) {
            entry = EntryOf(device | kStatusPoint);
            entry.name = "Comm_Status";
            entry.value = "0";
            if (!entries.empty() && entries.back() == entry) {
                continue;
            }
        } else {
            entry.value = ValueText(input.values.at(id), 14);
        }
        if (isStatus && !IsDown(input, device)) {
            entry.name = "Comm_Status";
            if (!input.isXml) {
                entry.unit = "";
                entry.value = "1";
            }
        }
        entries.push_back(entry);
    }
    return entries;
}

Entries AlarmData(const Input &input) {
    Entries entries;
    for (const Alarm_Data_Para &alarm : input.alarms) {
        Entry entry = EntryOf(alarm.dataId);
        const ST_POINTID_ATTR &point = input.points.at(alarm.dataId);
        entry.name = point.Name;
        entry.unit = point.EUUnits;
        entry.value = ValueText(alarm.alarmValue, 46);
        entry.threshold = ValueText(alarm.thresholdValue, 46);
        entries.push_back(entry);
    }
    return entries;
}

// ---- What independent parsers find ----

using ExpatParser = std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)>;

ExpatParser MakeExpat() {
    return {XML_ParserCreate("UTF-8"), XML_ParserFree};
}

bool IsParsed(const ExpatParser &parser, const std::string &text) {
    return XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
}

/// Whether an XML document can hold a text: UTF-8, and neither control characters nor
/// noncharacters.
bool IsXmlText(std::string text) {
    for (char &c : text) {
        c = c == '<' || c == '&' || c == '>' ? ' ' : c;
    }
    return IsParsed(MakeExpat(), "<r>" + text + "</r>");
}

bool AreXmlTexts(const MAP_POINTID_ATTR &points) {
    for (const auto &[id, point] : points) {
        if (!IsXmlText(point.Name) || !IsXmlText(point.EUUnits)) {
            return false;
        }
    }
    return true;
}

/// The text of a key: one that is asked for and not there is empty.
template <class Find>
Entry Found(const Find &find, const char *thresholdKey) {
    return {find("channel"), find("device"), find("dblink"),    find("name"),
            find("unit"),    find("value"),  find(thresholdKey)};
}

struct XmlReader {
    Entries entries;
    std::string channel;
    std::string device;
};

std::string AttributeOf(const XML_Char **attributes, const char *key) {
    for (; *attributes != nullptr; attributes += 2) {
        if (std::strcmp(*attributes, key) == 0) {
            return attributes[1];
        }
    }
    return "";
}

void ReadElement(void *reader, const XML_Char *name, const XML_Char **attributes) {
    auto &all = *static_cast<XmlReader *>(reader);
    if (std::strcmp(name, "device") == 0) {
        all.channel = AttributeOf(attributes, "channel");
        all.device = AttributeOf(attributes, "id");
    }
    if (std::strcmp(name, "node") == 0) {
        Entry entry =
            Found([&](const char *key) { return AttributeOf(attributes, key); }, "thredhold_value");
        entry.channel += all.channel;
        entry.device += all.device;
        all.entries.push_back(entry);
    }
}

Entries EntriesOfXml(const std::string &text) {
    XmlReader reader;
    const ExpatParser parser = MakeExpat();
    XML_SetUserData(parser.get(), &reader);
    XML_SetStartElementHandler(parser.get(), ReadElement);
    if (!IsParsed(parser, text)) {
        Wrong(XML_ErrorString(XML_GetErrorCode(parser.get())), text);
    }
    return reader.entries;
}

std::string MemberOf(json_object *object, const char *key) {
    json_object *member = nullptr;
    if (json_object_object_get_ex(object, key, &member) == 0) {
        return "";
    }
    const char *const text = json_object_get_string(member);
    return json_object_is_type(member, json_type_string)
               ? std::string(text, static_cast<std::size_t>(json_object_get_string_len(member)))
               : text;
}

void AddNodes(json_object *parent, Entries &entries) {
    json_object *nodes = json_object_object_get(parent, "node");
    for (std::size_t i = 0; i < json_object_array_length(nodes); ++i) {
        json_object *node = json_object_array_get_idx(nodes, i);
        Entry entry =
            Found([&](const char *key) { return MemberOf(node, key); }, "threshold_value");
        entry.channel += MemberOf(parent, "channel");
        entry.device += MemberOf(parent, "id");
        entries.push_back(entry);
    }
}

Entries EntriesOfJson(const std::string &text) {
    const std::unique_ptr<json_tokener, decltype(&json_tokener_free)> parser(json_tokener_new(),
                                                                             json_tokener_free);
    const std::unique_ptr<json_object, decltype(&json_object_put)> document(
        json_tokener_parse_ex(parser.get(), text.data(), static_cast<int>(text.size())),
        json_object_put);
    if (document == nullptr || json_tokener_get_parse_end(parser.get()) != text.size()) {
        Wrong("no JSON document, or more than one", text);
    }
    Entries entries;
    json_object *devices = nullptr;
    if (json_object_object_get_ex(document.get(), "device", &devices) == 0) {
        AddNodes(document.get(), entries);
        return entries;
    }
    for (std::size_t i = 0; i < json_object_array_length(devices); ++i) {
        AddNodes(json_object_array_get_idx(devices, i), entries);
    }
    return entries;
}

// ---- The files ----

std::string ContentOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Without the NUL that ends what is compressed.
std::string Inflated(const std::string &compressed) {
    std::string text(std::size_t{1} << 18, '\0');
    uLongf length = text.size();
    if (uncompress(reinterpret_cast<Bytef *>(text.data()), &length,
                   reinterpret_cast<const Bytef *>(compressed.data()), compressed.size()) != Z_OK ||
        length == 0 || text[length - 1] != '\0') {
        Wrong("not the compressed form of a document", "");
    }
    text.resize(length - 1);
    return text;
}

void Configure(const Input &input) {
    ST_CLOUDSERVER_CONFIG_ATTR &settings = *GetCSysSetInstance()->GetCloudConfigAttr();
    CopyText<15>(settings.filetype, input.isXml ? "xml" : "json");
    settings.isCompress = input.isCompressed ? 1 : 0;
    MAP_CHANNEL_POINT *byChannel = nullptr;
    MAP_POINTID_ATTR *byId = nullptr;
    GetCChannelSetInstance()->GetAttr(&byChannel);
    GetCChannelSetInstance()->GetAttr(&byId);
    byChannel->clear();
    byId->clear();
    for (const auto &[id, point] : input.points) {
        GetCChannelSetInstance()->AddSamplePoint(point);
    }
}

std::int32_t Create(Input &input, std::vector<std::string> &files) {
    char folder[] = "/tmp";
    const corvenna::test::FuzzMemory memory(input.failing);
    return input.isAlarms ? CreateAlarmDataFile(&input.alarms, folder, &files)
                          : CreateRealDataFile(&input.values, folder, &files, 1709622489);
}

void ExpectWhole(const Input &input, const std::string &path) {
    const std::string content = ContentOf(path);
    const std::string text = input.isCompressed ? Inflated(content) : content;
    if (input.isXml && !AreXmlTexts(input.points)) {
        return;
    }
    const Entries found = input.isXml ? EntriesOfXml(text) : EntriesOfJson(text);
    if (found != (input.isAlarms ? AlarmData(input) : RealData(input))) {
        Wrong("not what went in", text);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Input input = Read(Bytes(data, size));
    Configure(input);
    std::vector<std::string> files;
    const std::int32_t result = Create(input, files);
    if ((result >= 0) != (files.size() == 1) || (result < 0 && input.failing == 0)) {
        Wrong("result and list differ", std::to_string(result));
    }
    for (const std::string &path : files) {
        ExpectWhole(input, path);
        unlink(path.c_str());
    }
    return 0;
}
