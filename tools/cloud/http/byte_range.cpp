#include "tools/cloud/http/byte_range.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "tools/cloud/ground/text.h"
#include "tools/cloud/http/request.h"

namespace corvenna::cloud {
namespace {

constexpr std::string_view kUnit = "bytes=";
constexpr std::size_t kMostParts = 8;
constexpr long kMost = std::numeric_limits<long>::max();
constexpr const char *kType = "application/octet-stream";
// No file that a gateway gets has this line in front of one of its parts by chance.
constexpr const char *kBoundary = "corvenna-cloud-part-5d8e1f0a37c94b62";

std::string_view Trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

/// A position in a file. One that no number can hold lies behind the end of every file.
std::optional<long> ReadPosition(std::string_view text) {
    const bool digits =
        !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
    return digits ? std::optional(WholeNumber(text, 0, kMost).value_or(kMost)) : std::nullopt;
}

/// One "7-9", "7-" or "-3".
struct Wanted {
    std::optional<long> first, last;
};

std::optional<Wanted> ReadWanted(std::string_view text) {
    const std::size_t dash = text.find('-');
    if (dash == std::string_view::npos || text.size() == 1) {
        return std::nullopt;
    }
    const std::string_view before = text.substr(0, dash);
    const std::string_view behind = text.substr(dash + 1);
    const Wanted wanted{ReadPosition(before), ReadPosition(behind)};
    if ((!wanted.first && !before.empty()) || (!wanted.last && !behind.empty()) ||
        (wanted.first && wanted.last && *wanted.last < *wanted.first)) {
        return std::nullopt;
    }
    return wanted;
}

BytePart Cut(const Wanted &wanted, std::int64_t size) {
    if (!wanted.first) {
        const std::int64_t length = std::min<std::int64_t>(*wanted.last, size);
        return {size - length, length};
    }
    const std::int64_t end =
        wanted.last ? std::min<std::int64_t>(*wanted.last, size - 1) : size - 1;
    return {*wanted.first, std::max<std::int64_t>(0, end - *wanted.first + 1)};
}

bool Overlap(std::vector<BytePart> parts) {
    std::sort(parts.begin(), parts.end(),
              [](const BytePart &a, const BytePart &b) { return a.start < b.start; });
    for (std::size_t i = 1; i < parts.size(); ++i) {
        if (parts[i].start < parts[i - 1].start + parts[i - 1].length) {
            return true;
        }
    }
    return false;
}

std::string ContentRange(const BytePart &part, std::int64_t size) {
    return "bytes " + std::to_string(part.start) + "-" +
           std::to_string(part.start + part.length - 1) + "/" + std::to_string(size);
}

void SendParts(Response &response, const std::shared_ptr<const BodySource> &file,
               const std::vector<BytePart> &parts) {
    const std::int64_t size = file->Size();
    std::vector<std::shared_ptr<const BodySource>> pieces;
    for (const BytePart &part : parts) {
        pieces.push_back(std::make_shared<TextBody>(
            std::string(pieces.empty() ? "" : "\r\n") + "--" + kBoundary + "\r\nContent-Type: " +
            kType + "\r\nContent-Range: " + ContentRange(part, size) + "\r\n\r\n"));
        pieces.push_back(std::make_shared<Part>(file, part.start, part.length));
    }
    pieces.push_back(std::make_shared<TextBody>(std::string("\r\n--") + kBoundary + "--\r\n"));
    response.SetContent("", std::string("multipart/byteranges; boundary=") + kBoundary);
    response.file = std::make_shared<Pieces>(std::move(pieces));
    response.status = 206;
}

}  // namespace

ByteRange ReadRange(std::string_view header, std::int64_t size) {
    if (!EqualsIgnoringCase(header.substr(0, kUnit.size()), kUnit)) {
        return {};
    }
    std::string_view list = header.substr(kUnit.size());
    ByteRange range;
    for (bool more = true; more;) {
        const std::size_t comma = list.find(',');
        const auto wanted = ReadWanted(Trimmed(list.substr(0, comma)));
        more = comma != std::string_view::npos;
        list.remove_prefix(more ? comma + 1 : 0);
        if (!wanted) {
            return {};
        }
        const BytePart part = Cut(*wanted, size);
        if (part.length > 0) {
            range.parts.push_back(part);
        }
    }
    if (range.parts.size() > kMostParts || Overlap(range.parts)) {
        return {};
    }
    range.kind = range.parts.empty() ? ByteRange::Kind::kUnsatisfiable : ByteRange::Kind::kParts;
    return range;
}

void SendFile(Response &response, const std::shared_ptr<const BodySource> &file,
              const ByteRange &range) {
    const std::int64_t size = file->Size();
    response.SetHeader("Accept-Ranges", "bytes");
    if (range.kind == ByteRange::Kind::kUnsatisfiable) {
        SetError(response, 416, "the file ends before the range begins");
        response.SetHeader("Content-Range", "bytes */" + std::to_string(size));
        return;
    }
    if (range.parts.size() > 1) {
        SendParts(response, file, range.parts);
        return;
    }
    response.SetContent("", kType);
    response.status = range.parts.empty() ? 200 : 206;
    const BytePart part = range.parts.empty() ? BytePart{0, size} : range.parts.front();
    response.file = std::make_shared<Part>(file, part.start, part.length);
    if (!range.parts.empty()) {
        response.SetHeader("Content-Range", ContentRange(part, size));
    }
}

}  // namespace corvenna::cloud
