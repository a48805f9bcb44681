#include "message/body.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/deflate.h"
#include "log/log.h"

namespace corvenna {
namespace {

void ReportCut(std::size_t length, int capacity) {
    log_Text(kLogError, "request body of %zu characters does not fit the buffer of %d bytes",
             length, capacity);
}

int CopyBody(const BodyTarget &target, const char *text, std::size_t length) {
    // On purpose: a limit of capacity - 1 for snprintf, so capacity - 2 characters at most.
    const auto limit = static_cast<std::size_t>(std::max(target.capacity, 1) - 1);
    std::snprintf(target.out, limit, "%s", text);
    const std::size_t kept = limit == 0 ? 0 : std::min(length, limit - 1);
    if (kept < length) {
        ReportCut(length, target.capacity);
    }
    return static_cast<int>(kept);
}

}  // namespace

xmlDictPtr BodyNames() {
    static xmlDict *const kNames =
        MakeXmlNames({"data",     "gw",    "sn",   "name",   "ver",     "site",   "longitude",
                      "latitude", "owner", "desc", "room",   "camera",  "device", "channel",
                      "id",       "node",  "md5",  "status", "startdt", "enddt"});
    return kNames;
}

int WriteBody(const BodyTarget &target, const char *text, std::size_t length) {
    if (!target.compress) {
        return CopyBody(target, text, length);
    }
    const auto capacity = static_cast<std::size_t>(std::max(target.capacity, 0));
    const Deflated deflated = DeflateWithNul(text, length, target.out, capacity);
    if (!deflated.whole) {
        ReportCut(length, target.capacity);
    }
    return static_cast<int>(deflated.length);
}

int WriteBody(const BodyTarget &target, const XmlTree &tree) {
    const XmlGuard guard;
    xmlChar *memory = nullptr;
    int length = 0;
    xmlDocDumpFormatMemoryEnc(tree.Document(), &memory, &length, "UTF-8", 1);
    const XmlText text(memory);
    return text == nullptr
               ? 0
               : WriteBody(target, FromXml(text.get()), static_cast<std::size_t>(length));
}

}  // namespace corvenna
