#include "message/parse_json.h"

#include <memory>
#include <string_view>

#include "base/handle.h"
#include "base/json.h"
#include "base/text.h"
#include "message/answer_entries.h"
#include "message/time_string.h"

namespace corvenna {
namespace {

using Lock = std::unique_ptr<pthread_mutex_t, FreedBy<pthread_mutex_unlock>>;

/// An answer as JSON: its objects, lists, texts and the whole numbers of 32 bits. Nothing else is
/// read, and asking for it fails as for any value of another type: so other values are null here,
/// and what RapidJSON needs to work out fractions stays out of the library.
class AnswerDocument : public JsonDocument {
public:
    /// Nesting must not eat a thread's stack, so the parser keeps its own.
    bool Parse(const char *text) {
        rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> reader;
        rapidjson::StringStream stream(text);
        bool parsed = false;
        auto parse = [&](JsonDocument & /*self*/) {
            parsed = !reader.Parse<rapidjson::kParseIterativeFlag>(stream, *this).IsError();
            return parsed;
        };
        Populate(parse);
        return parsed;
    }

    // For the reader, in place of the document's own.

    bool Bool(bool /*value*/) { return Null(); }
    bool Int64(std::int64_t /*value*/) { return Null(); }
    bool Uint64(std::uint64_t /*value*/) { return Null(); }
    bool Double(double /*value*/) { return Null(); }
};

bool Parse(AnswerDocument &document, const char *data, pthread_mutex_t &mutex) {
    // Ours: no answer at all is none that parses.
    if (data == nullptr) {
        return false;
    }
    pthread_mutex_lock(&mutex);
    const Lock held(&mutex);
    return document.Parse(data);
}

// Every access checks by RapidJSON's assertion, which throws: a value of another type, a member
// that is not there.

const JsonValue &Member(const JsonValue &object, std::string_view name) {
    for (const auto &[key, value] : object.GetObject()) {
        if (std::string_view(key.GetString(), key.GetStringLength()) == name) {
            return value;
        }
    }
    ThrowJsonError();
}

const char *Text(const JsonValue &object, const char *name) {
    return Member(object, name).GetString();
}

std::uint8_t Byte(const JsonValue &object, const char *name) {
    return static_cast<std::uint8_t>(Member(object, name).GetInt());
}

std::int32_t Seconds(const JsonValue &object, const char *name) {
    return static_cast<std::int32_t>(ReadTime(Text(object, name)));
}

/// Appends one record for each object of the array, each from an empty record.
/// @return whether the text was JSON.
template <class Record, class Read>
bool ParseList(const char *data, pthread_mutex_t &mutex, const char *array,
               std::vector<Record> &list, bool &cut, Read read) {
    AnswerDocument document;
    if (!Parse(document, data, mutex)) {
        return false;
    }
    AnswerEntries<Record> entries(list);
    for (const JsonValue &object : Member(document, array).GetArray()) {
        Record *const record = entries.Add();
        if (record == nullptr) {
            break;
        }
        read(object, *record);
    }
    entries.Keep(cut);
    return true;
}

}  // namespace

int ParseGatewayJson(const char *data, pthread_mutex_t &mutex, ST_GATEWAY_INFO &info) {
    AnswerDocument document;
    if (!Parse(document, data, mutex)) {
        return -1;
    }
    // On purpose: the gateway's name is the station's too; "site" has none that is read.
    CopyText<64>(info.stationName, Text(document, "name"));
    CopyText<64>(info.version, Text(document, "ver"));
    CopyText<64>(info.roomName, Text(Member(document, "room"), "name"));
    CopyText<64>(info.roomDesc, Text(Member(document, "room"), "desc"));
    CopyText<64>(info.gateWayName, Text(document, "name"));
    CopyText<64>(info.ownerName, Text(Member(document, "owner"), "name"));
    CopyText<64>(info.ownerDesc, Text(Member(document, "owner"), "desc"));
    CopyText<64>(info.longitude, Text(Member(document, "site"), "longitude"));
    CopyText<64>(info.latitude, Text(Member(document, "site"), "latitude"));
    return 0;
}

int ParseDevicesJson(const char *data, pthread_mutex_t &mutex, std::vector<ST_DEVICE_INFO> &devices,
                     bool &cut) {
    const bool parsed = ParseList(data, mutex, "device", devices, cut,
                                  [](const JsonValue &object, ST_DEVICE_INFO &device) {
                                      device.channel = Byte(object, "channel");
                                      device.id = Byte(object, "id");
                                      CopyText<128>(device.name, Text(object, "name"));
                                      CopyText<128>(device.desc, Text(object, "desc"));
                                  });
    return parsed ? 0 : -1;
}

int ParseDownFilesJson(const char *data, pthread_mutex_t &mutex, std::vector<down_file_para> &files,
                       bool &cut) {
    const bool parsed = ParseList(
        data, mutex, "node", files, cut, [](const JsonValue &object, down_file_para &file) {
            CopyText<512>(file.file, Text(object, "file"));
            CopyText<64>(file.md5, Text(object, "md5"));
            file.type = static_cast<std::int32_t>(Decimal(Text(object, "type")));
            CopyText<512>(file.path, Text(object, "path"));
        });
    return parsed ? 0 : -1;
}

int ParseRecallsJson(const char *data, pthread_mutex_t &mutex,
                     std::vector<recall_time_para> &ranges, bool &cut) {
    const bool parsed = ParseList(data, mutex, "node", ranges, cut,
                                  [](const JsonValue &object, recall_time_para &range) {
                                      range.start = Seconds(object, "startdt");
                                      range.end = Seconds(object, "enddt");
                                  });
    return parsed ? static_cast<int>(ranges.size()) : -1;
}

}  // namespace corvenna
