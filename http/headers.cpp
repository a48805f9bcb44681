#include "http/headers.h"

#include <cstring>
#include <ctime>

#include "base/text.h"
#include "base/wire_format.h"

namespace corvenna {
namespace {

constexpr char kXmlContent[] = "Content-Type:application/xml;charset=UTF-8";
constexpr char kJsonContent[] = "Content-Type:application/json;charset=UTF-8";
// An empty "Expect:" keeps libcurl from waiting for a "100 Continue" before it sends the body.
constexpr char kNoExpect[] = "Expect:";
constexpr char kDeflate[] = "Content-Encoding: deflate";

void AppendBodyLines(HeaderList &headers, const char *content, bool deflated) {
    headers.Append(content);
    headers.Append(kNoExpect);
    if (deflated) {
        headers.Append(kDeflate);
    }
}

bool IsDeflatedFile(const char *path) {
    // On purpose: anywhere in the path, folders included, and "jsonz" without its dot.
    return std::strstr(path, ".xmlz") != nullptr || std::strstr(path, "jsonz") != nullptr;
}

}  // namespace

HeaderList AcceptHeaders(const char *format, bool /*deflated*/) {
    HeaderList headers;
    switch (FormatOf(format)) {
        case Format::kXml:
            headers.Append("Accept:application/xml;");
            break;
        case Format::kJson:
            headers.Append("Accept:application/json;");
            break;
        case Format::kUnknown:
            break;
    }
    return headers;
}

HeaderList BodyHeaders(const char *format, bool deflated) {
    HeaderList headers;
    switch (FormatOf(format)) {
        case Format::kXml:
            AppendBodyLines(headers, kXmlContent, deflated);
            break;
        case Format::kJson:
            AppendBodyLines(headers, kJsonContent, deflated);
            break;
        case Format::kUnknown:
            break;  // On purpose: not even "Expect:"; the request goes out with libcurl's own
                    // lines.
    }
    return headers;
}

HeaderList UploadHeaders(const char *format, const char *path) {
    HeaderList headers;
    const bool xml = FormatOf(format) == Format::kXml;
    AppendBodyLines(headers, xml ? kXmlContent : kJsonContent, IsDeflatedFile(path));
    return headers;
}

HeaderList TimedUploadHeaders(const char *format, const char *path) {
    HeaderList headers = UploadHeaders(format, path);
    char line[64];
    PrintText(UpTo<64>(line), "XVane-Time: %d", static_cast<int>(std::time(nullptr)));
    headers.Append(line);
    return headers;
}

}  // namespace corvenna
