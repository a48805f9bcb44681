#include "message/body.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "base/deflate.h"
#include "base/wire_format.h"
#include "base/xml_output.h"
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

/// Deflates a document into the caller's buffer, or copies it, cut at capacity - 2. Throws
/// std::bad_alloc, like the other.
/// @return the bytes that are in the buffer.
int WriteBody(const BodyTarget &target, TextPieces &document) {
    const std::size_t length = document.Length();
    const char *text = document.Join();
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

/// Serialises a tree, indented, and writes it likewise.
int WriteBody(const BodyTarget &target, const XmlTree &tree) {
    XmlOutput output;
    const XmlGuard guard;
    output.Declaration();
    output.Element(tree.Root(), 0);
    output.Finish();
    return WriteBody(target, output.Text());
}

int SpellBody(Format format, const BodyTarget &target, const BodyContent &content) {
    switch (format) {
        case Format::kJson: {
            JsonText text;
            content.SpellJson(text);
            return WriteBody(target, text.Text());
        }
        case Format::kXml: {
            XmlTree tree(BodyNames());
            {
                const XmlGuard guard;
                content.SpellXml(tree.Root());
            }
            return WriteBody(target, tree);
        }
        case Format::kUnknown:
            break;
    }
    return -1;
}

}  // namespace

xmlDictPtr BodyNames() {
    static xmlDict *const kNames =
        MakeXmlNames({"data",     "gw",    "sn",   "name",   "ver",     "site",   "longitude",
                      "latitude", "owner", "desc", "room",   "camera",  "device", "channel",
                      "id",       "node",  "md5",  "status", "startdt", "enddt"});
    return kNames;
}

int MakeBody(const char *format, const BodyTarget &target, const BodyContent &content) {
    if (target.out == nullptr) {
        return -1;
    }
    try {
        return SpellBody(FormatOf(format), target, content);
    } catch (const std::bad_alloc &) {  // Ours: a body is whole, or there is none.
        log_Text(kLogError, "request body: out of memory");
        return -1;
    }
}

}  // namespace corvenna
