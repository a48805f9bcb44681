#include "message/parse_json.h"

#include <memory>

#include "base/handle.h"
#include "base/json.h"
#include "base/text.h"
#include "message/parse_memory.h"

namespace corvenna {
namespace {

using rapidjson::Document;
using rapidjson::Value;

using Lock = std::unique_ptr<pthread_mutex_t, FreedBy<pthread_mutex_unlock>>;

/// Nesting must not eat a thread's stack, so the parser keeps its own.
bool Parse(Document &document, const char *data, pthread_mutex_t &mutex) {
    // Ours: no answer at all is none that parses.
    if (data == nullptr) {
        return false;
    }
    pthread_mutex_lock(&mutex);
    const Lock held(&mutex);
    document.Parse<rapidjson::kParseIterativeFlag>(data);
    return !document.HasParseError();
}

// Every access checks by RapidJSON's assertion, which throws: a value of another type, a member
// that is not there.

const Value &Member(const Value &object, const char *name) {
    RAPIDJSON_ASSERT(object.IsObject());
    const auto found = object.FindMember(name);
    RAPIDJSON_ASSERT(found != object.MemberEnd());
    return found->value;
}

const char *Text(const Value &object, const char *name) {
    return Member(object, name).GetString();
}

std::uint8_t Byte(const Value &object, const char *name) {
    return static_cast<std::uint8_t>(Member(object, name).GetInt());
}

std::int32_t Seconds(const Value &object, const char *name) {
    return static_cast<std::int32_t>(CParseMemory::TimeString2Timet(Text(object, name)));
}

/// Appends one record for each object of the array, each from an empty record.
/// @return whether the text was JSON.
template <class Record, class Read>
bool ParseList(const char *data, pthread_mutex_t &mutex, const char *array,
               std::vector<Record> &list, Read read) {
    Document document;
    if (!Parse(document, data, mutex)) {
        return false;
    }
    std::vector<Record> found;
    for (const Value &object : Member(document, array).GetArray()) {
        found.emplace_back();
        read(object, found.back());
    }
    list.insert(list.end(), found.begin(), found.end());
    return true;
}

}  // namespace

int ParseGatewayJson(const char *data, pthread_mutex_t &mutex, ST_GATEWAY_INFO &info) {
    Document document;
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

int ParseDevicesJson(const char *data, pthread_mutex_t &mutex,
                     std::vector<ST_DEVICE_INFO> &devices) {
    const bool parsed =
        ParseList(data, mutex, "device", devices, [](const Value &object, ST_DEVICE_INFO &device) {
            device.channel = Byte(object, "channel");
            device.id = Byte(object, "id");
            CopyText<128>(device.name, Text(object, "name"));
            CopyText<128>(device.desc, Text(object, "desc"));
        });
    return parsed ? 0 : -1;
}

int ParseDownFilesJson(const char *data, pthread_mutex_t &mutex,
                       std::vector<down_file_para> &files) {
    const bool parsed =
        ParseList(data, mutex, "node", files, [](const Value &object, down_file_para &file) {
            CopyText<512>(file.file, Text(object, "file"));
            CopyText<64>(file.md5, Text(object, "md5"));
            file.type = static_cast<std::int32_t>(Decimal(Text(object, "type")));
            CopyText<512>(file.path, Text(object, "path"));
        });
    return parsed ? 0 : -1;
}

int ParseRecallsJson(const char *data, pthread_mutex_t &mutex,
                     std::vector<recall_time_para> &ranges) {
    const bool parsed =
        ParseList(data, mutex, "node", ranges, [](const Value &object, recall_time_para &range) {
            range.start = Seconds(object, "startdt");
            range.end = Seconds(object, "enddt");
        });
    return parsed ? static_cast<int>(ranges.size()) : -1;
}

}  // namespace corvenna
