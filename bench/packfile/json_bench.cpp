// One real-data document in JSON, from the snapshot to the written file, by every library at hand.

#include <sys/stat.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#ifdef HAS_CJSON
#include <cjson/cJSON.h>
#endif
#ifdef HAS_JSONC
#include <json-c/json.h>
#endif
#ifdef HAS_JSONCPP
#include <json/json.h>
#endif
#ifdef HAS_NLOHMANN
#include <nlohmann/json.hpp>
#endif

#include "base/json.h"
#include "bench/packfile/points.h"
#include "bench/support/cost.h"
#include "config/channel_set.h"
#include "packfile/value_text.h"
#include "plugin/instances.h"

namespace corvenna::bench {
namespace {

const std::vector<Device> *gDevices;

void Prepare(unsigned count) {
    gDevices = &MakePoints(count);
}

/// As many devices of a few points each, for the cost of a device.
void PrepareDevices(unsigned count) {
    constexpr unsigned kFewPoints = 10;
    gDevices = &MakePoints(kFewPoints * count, kFewPoints);
}

void WritePackFile() {
    char dir[] = "/tmp";
    std::vector<std::string> files;
    GetCPackFileInstance()->CreateRealDataJsonFile(&Values(), dir, &files, kSampleTime, 0);
    if (files.size() != 1) {
        std::abort();
    }
}

/// More than a point's entry takes, names and units of the benchmark's points included.
constexpr std::size_t kPointRoom = 100;

std::size_t DocumentRoom() {
    std::size_t room = 1000;
    for (const Device &device : *gDevices) {
        room += kPointRoom * (device.points.size() + 1);
    }
    return room;
}

/// Id and value, by the pack file's own digits.
struct PointDigits {
    PointDigits(std::uint32_t id, double number)
        : dblinkLength(PrintDataId(id, dblink)),
          valueLength(PrintValue(number, value, sizeof value)) {}
    explicit PointDigits(const Point &point) : PointDigits(point.id, point.value) {}
    char dblink[kDataIdLength];
    char value[15];
    std::size_t dblinkLength;
    std::size_t valueLength;
};

// Plain appending: every text is copied once into a fresh buffer of the right size, and that is
// written. Nothing is escaped.

std::string BeginAppending() {
    std::string text;
    text.reserve(DocumentRoom());
    text.append("{\"logdt\":\"").append(kSampleTimeText).append("\",\"device\":[");
    return text;
}

void AppendDevice(std::string &text, unsigned channel, unsigned device) {
    text.append(text.back() == '[' ? "{\"id\":" : ",{\"id\":");
    text.append(std::to_string(device)).append(",\"channel\":");
    text.append(std::to_string(channel)).append(",\"node\":[");
}

void AppendPoint(std::string &text, const PointDigits &digits, std::string_view name,
                 std::string_view unit) {
    text.append(text.back() == '[' ? "{\"dblink\":\"" : ",{\"dblink\":\"");
    text.append(digits.dblink, digits.dblinkLength).append("\",\"name\":\"");
    text.append(name).append("\",\"unit\":\"").append(unit);
    text.append("\",\"value\":\"").append(digits.value, digits.valueLength).append("\"}");
}

/// What cannot be left out: the points lie in the channel set and their values in the host's map,
/// so both are walked side by side.
void WriteAppending() {
    std::string text = BeginAppending();
    MAP_CHANNEL_POINT *channels = nullptr;
    GetCChannelSetInstance()->GetAttr(&channels);
    auto value = Values().cbegin();
    for (const auto &[channel, devices] : *channels) {
        for (const auto &[device, points] : devices) {
            AppendDevice(text, channel, device);
            for (const auto &[id, point] : points) {
                while (value->first != id) {
                    ++value;
                }
                AppendPoint(text, PointDigits(id, value->second), point.Name, point.EUUnits);
            }
            text.append("]}");
        }
    }
    text.append("]}");
    WriteText(text.data(), text.size());
}

/// The same from a list that holds the points one behind the other, with the lengths of their
/// texts: nothing is walked or looked up either.
void WriteAppendingList() {
    std::string text = BeginAppending();
    for (const Device &device : *gDevices) {
        AppendDevice(text, device.channel, device.number);
        for (const Point &point : device.points) {
            AppendPoint(text, PointDigits(point), point.name, point.unit);
        }
        text.append("]}");
    }
    text.append("]}");
    WriteText(text.data(), text.size());
}

struct PointTexts {
    explicit PointTexts(const Point &point) {
        std::snprintf(dblink, sizeof dblink, "%08" PRIx32, point.id);
        std::snprintf(value, sizeof value, "%.3lf", point.value);
    }
    char dblink[64];
    char value[15];
};

using RapidWriter = rapidjson::Writer<rapidjson::StringBuffer>;

/// writePoint(point) writes what lies in a point's object.
template <class WritePoint>
void SpellByRapidJson(RapidWriter &writer, WritePoint writePoint) {
    writer.StartObject();
    writer.Key("logdt");
    writer.String(kSampleTimeText);
    writer.Key("device");
    writer.StartArray();
    for (const Device &device : *gDevices) {
        writer.StartObject();
        writer.Key("id");
        writer.Uint(device.number);
        writer.Key("channel");
        writer.Uint(device.channel);
        writer.Key("node");
        writer.StartArray();
        for (const Point &point : device.points) {
            writer.StartObject();
            writePoint(point);
            writer.EndObject();
        }
        writer.EndArray();
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
}

/// Its Writer at its best: a buffer of the right size, own digits, known lengths.
void WriteRapidJson() {
    rapidjson::StringBuffer buffer(nullptr, DocumentRoom());
    RapidWriter writer(buffer);
    const auto text = [&writer](const char *begin, std::size_t length) {
        writer.String(begin, static_cast<rapidjson::SizeType>(length));
    };
    SpellByRapidJson(writer, [&](const Point &point) {
        const PointDigits digits(point);
        text("dblink", 6);
        text(digits.dblink, digits.dblinkLength);
        text("name", 4);
        text(point.name.data(), point.name.size());
        text("unit", 4);
        text(point.unit.data(), point.unit.size());
        text("value", 5);
        text(digits.value, digits.valueLength);
    });
    WriteText(buffer.GetString(), buffer.GetSize());
}

/// The straightforward way: a growing buffer, a format call for each text, lengths unknown.
void WriteStraightforward() {
    rapidjson::StringBuffer buffer;
    RapidWriter writer(buffer);
    SpellByRapidJson(writer, [&writer](const Point &point) {
        const PointTexts texts(point);
        writer.Key("dblink");
        writer.String(texts.dblink);
        writer.Key("name");
        writer.String(point.name.c_str());
        writer.Key("unit");
        writer.String(point.unit.c_str());
        writer.Key("value");
        writer.String(texts.value);
    });
    WriteText(buffer.GetString(), buffer.GetSize());
}

#ifdef HAS_CJSON
void WriteCJson() {
    cJSON *root = cJSON_CreateObject();
    cJSON_AddStringToObject(root, "logdt", kSampleTimeText);
    cJSON *devices = cJSON_AddArrayToObject(root, "device");
    for (const Device &device : *gDevices) {
        cJSON *entry = cJSON_CreateObject();
        cJSON_AddNumberToObject(entry, "id", device.number);
        cJSON_AddNumberToObject(entry, "channel", device.channel);
        cJSON *nodes = cJSON_AddArrayToObject(entry, "node");
        for (const Point &point : device.points) {
            const PointTexts texts(point);
            cJSON *node = cJSON_CreateObject();
            cJSON_AddStringToObject(node, "dblink", texts.dblink);
            cJSON_AddStringToObject(node, "name", point.name.c_str());
            cJSON_AddStringToObject(node, "unit", point.unit.c_str());
            cJSON_AddStringToObject(node, "value", texts.value);
            cJSON_AddItemToArray(nodes, node);
        }
        cJSON_AddItemToArray(devices, entry);
    }
    char *text = cJSON_PrintUnformatted(root);
    cJSON_Delete(root);
    WriteText(text, std::strlen(text));
    cJSON_free(text);
}
#endif

#ifdef HAS_JSONC
void WriteJsonC() {
    json_object *root = json_object_new_object();
    json_object_object_add(root, "logdt", json_object_new_string(kSampleTimeText));
    json_object *devices = json_object_new_array();
    for (const Device &device : *gDevices) {
        json_object *entry = json_object_new_object();
        json_object_object_add(entry, "id", json_object_new_int(static_cast<int>(device.number)));
        json_object_object_add(entry, "channel",
                               json_object_new_int(static_cast<int>(device.channel)));
        json_object *nodes = json_object_new_array();
        for (const Point &point : device.points) {
            const PointTexts texts(point);
            json_object *node = json_object_new_object();
            json_object_object_add(node, "dblink", json_object_new_string(texts.dblink));
            json_object_object_add(node, "name", json_object_new_string(point.name.c_str()));
            json_object_object_add(node, "unit", json_object_new_string(point.unit.c_str()));
            json_object_object_add(node, "value", json_object_new_string(texts.value));
            json_object_array_add(nodes, node);
        }
        json_object_object_add(entry, "node", nodes);
        json_object_array_add(devices, entry);
    }
    json_object_object_add(root, "device", devices);
    std::size_t length = 0;
    const char *text = json_object_to_json_string_length(root, JSON_C_TO_STRING_PLAIN, &length);
    WriteText(text, length);
    json_object_put(root);
}
#endif

#ifdef HAS_JSONCPP
void WriteJsonCpp() {
    Json::Value root;
    root["logdt"] = kSampleTimeText;
    Json::Value &devices = root["device"] = Json::Value(Json::arrayValue);
    for (const Device &device : *gDevices) {
        Json::Value &entry = devices.append(Json::Value(Json::objectValue));
        entry["id"] = device.number;
        entry["channel"] = device.channel;
        Json::Value &nodes = entry["node"] = Json::Value(Json::arrayValue);
        for (const Point &point : device.points) {
            const PointTexts texts(point);
            Json::Value &node = nodes.append(Json::Value(Json::objectValue));
            node["dblink"] = texts.dblink;
            node["name"] = point.name;
            node["unit"] = point.unit;
            node["value"] = texts.value;
        }
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    const std::string text = Json::writeString(builder, root);
    WriteText(text.data(), text.size());
}
#endif

#ifdef HAS_NLOHMANN
void WriteNlohmann() {
    nlohmann::ordered_json root;
    root["logdt"] = kSampleTimeText;
    auto &devices = root["device"] = nlohmann::ordered_json::array();
    for (const Device &device : *gDevices) {
        auto nodes = nlohmann::ordered_json::array();
        for (const Point &point : device.points) {
            const PointTexts texts(point);
            nodes.push_back({{"dblink", texts.dblink},
                             {"name", point.name},
                             {"unit", point.unit},
                             {"value", texts.value}});
        }
        devices.push_back(
            {{"id", device.number}, {"channel", device.channel}, {"node", std::move(nodes)}});
    }
    const std::string text = root.dump();
    WriteText(text.data(), text.size());
}
#endif

#ifdef NODE_COMMAND
/// A node process that has the same points and writes a document for every line it gets.
std::FILE *gNodeInput;
constexpr char kNodePoints[] = "/tmp/points.txt";
constexpr char kNodeAnswers[] = "/tmp/node.answers";

void PrepareNode(unsigned count) {
    if (gNodeInput != nullptr) {
        return;
    }
    Prepare(count);
    std::FILE *points = std::fopen(kNodePoints, "w");
    for (const Device &device : *gDevices) {
        for (const Point &point : device.points) {
            std::fprintf(points, "%u\t%u\t%" PRIu32 "\t%s\t%s\t%.17g\n", device.channel,
                         device.number, point.id, point.name.c_str(), point.unit.c_str(),
                         point.value);
        }
    }
    std::fclose(points);
    std::remove(kNodeAnswers);
    if (mkfifo(kNodeAnswers, 0600) != 0) {
        std::abort();
    }
    gNodeInput =
        popen((std::string(NODE_COMMAND) + ' ' + kNodePoints + " >" + kNodeAnswers).c_str(), "w");
}

void WriteNode() {
    static std::FILE *answers = std::fopen(kNodeAnswers, "r");
    std::fputs("again\n", gNodeInput);
    std::fflush(gNodeInput);
    if (std::fgetc(answers) != '\n') {
        std::abort();
    }
}
#endif

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    return CostMain(argc, argv, 10000,
                    {
                        {"packfile", Prepare, WritePackFile},
                        {"devices", PrepareDevices, WritePackFile},
                        {"appending", Prepare, WriteAppending},
                        {"appending a list", Prepare, WriteAppendingList},
                        {"RapidJSON", Prepare, WriteRapidJson},
                        {"straightforward", Prepare, WriteStraightforward},
#ifdef HAS_CJSON
                        {"cJSON", Prepare, WriteCJson},
#endif
#ifdef HAS_NLOHMANN
                        {"nlohmann-json", Prepare, WriteNlohmann},
#endif
#ifdef HAS_JSONC
                        {"json-c", Prepare, WriteJsonC},
#endif
#ifdef HAS_JSONCPP
                        {"jsoncpp", Prepare, WriteJsonCpp},
#endif
#ifdef NODE_COMMAND
                        {"node", PrepareNode, WriteNode, false},
#endif
                    });
}
