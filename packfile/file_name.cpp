#include "packfile/file_name.h"

#include <cstddef>
#include <cstdio>

#include "base/local_time.h"

namespace corvenna {
namespace {

struct NameFormats {
    const char *plain;
    const char *compressed;
};

/// One row for each DataKind, in its order.
constexpr NameFormats kNameFormats[] = {
    {"%s/S%04d%02d%02d%02d%02d%02d.json", "%s/S%04d%02d%02d%02d%02d%02d.jsonz"},
    {"%s/S%04d%02d%02d%02d%02d%02d.xml", "%s/S%04d%02d%02d%02d%02d%02d.xmlz"},
    {"%s/T%04d%02d%02d%02d%02d%02d.json", "%s/T%04d%02d%02d%02d%02d%02d.jsonz"},
    {"%s/T%04d%02d%02d%02d%02d%02d.xml", "%s/T%04d%02d%02d%02d%02d%02d.xmlz"},
};

}  // namespace

FilePath PrintFilePath(DataKind kind, bool compressed, const char *dir, const std::tm &time) {
    const NameFormats &formats = kNameFormats[static_cast<std::size_t>(kind)];
    FilePath path{};
// The format is one of the table above; all of them take the same arguments.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    static_cast<void>(std::snprintf(
        path.text, sizeof path.text, compressed ? formats.compressed : formats.plain, dir,
        CalendarYear(time), time.tm_mon + 1, time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec));
#pragma GCC diagnostic pop
    return path;
}

}  // namespace corvenna
