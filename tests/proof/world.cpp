#include "tests/proof/world.h"

#include <cstdio>

#include "base/handle.h"
#include "tests/plugin/gateway.h"

namespace corvenna::test {

Answer CloudAnswer(const Request &request, const std::string &format) {
    if (request.method == "DELETE") {
        return Reply(204);
    }
    if (request.method != "GET") {
        return Reply(200, "{}");
    }
    if (request.path.find("/calldata/") != std::string::npos) {
        std::string list;
        for (int i = 0; i < kRecalls; ++i) {
            const std::string from = "2024-03-0" + std::to_string(i + 1) + " 00:00:00";
            list += format == "json" ? std::string(i == 0 ? "" : ",") + R"({"startdt":")" + from +
                                           R"(","enddt":")" + from + R"("})"
                                     : "<node startdt=\"" + from + "\" enddt=\"" + from + "\"/>";
        }
        return Reply(200,
                     format == "json" ? R"({"node":[)" + list + "]}" : "<data>" + list + "</data>");
    }
    if (request.path.find("/downfile/") != std::string::npos) {
        return Reply(200,
                     OfferList({{"a/file.bin", Md5Of(kOffered), 9, "/tmp/installed"}}, format));
    }
    return ReplyFile(kOffered);
}

Real_Data_Struct &Snapshot() {
    static Real_Data_Struct values{{0x02010001, 12.5}, {0x02010100, 1}};
    return values;
}

Alarm_Data_Struct &Alarms() {
    static Alarm_Data_Struct alarms(3, {1709622489, 0x02010001, 100, 101.5, 1, 1});
    return alarms;
}

// Not by a stream: one throws when a file of /proc ends with its thread while it is read.
std::string ContentOf(const std::string &path) {
    const File file(std::fopen(path.c_str(), "rbe"));
    std::string content;
    char piece[4096];
    for (std::size_t length = 0;
         file != nullptr && (length = std::fread(piece, 1, sizeof piece, file.get())) > 0;) {
        content.append(piece, length);
    }
    return content;
}

}  // namespace corvenna::test
