#include "tools/cloud/inflate.h"

#include <zlib.h>

#include <array>
#include <memory>

#include "base/handle.h"
#include "tools/cloud/document.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kBlock = 16384;

void EndInflate(z_stream *stream) {
    inflateEnd(stream);
}

}  // namespace

std::string InflateDocument(std::string_view bytes, std::size_t limit) {
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    if (inflateInit(&stream) != Z_OK) {
        throw BadDocument("the compressed data cannot be read");
    }
    const std::unique_ptr<z_stream, FreedBy<EndInflate>> end(&stream);

    std::string text;
    std::array<char, kBlock> block{};
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef *>(block.data());
        stream.avail_out = static_cast<uInt>(block.size());
        result = inflate(&stream, Z_NO_FLUSH);
        text.append(block.data(), block.size() - stream.avail_out);
        if (text.size() > limit) {
            throw BadDocument("the inflated document is larger than " + std::to_string(limit) +
                              " bytes");
        }
    }
    if (result != Z_STREAM_END) {
        throw BadDocument("the compressed data is damaged or cut");
    }
    if (stream.avail_in != 0) {
        throw BadDocument("the compressed data is followed by something else");
    }
    if (text.empty() || text.back() != '\0') {
        throw BadDocument("the inflated document does not end in a NUL byte");
    }
    text.pop_back();
    return text;
}

}  // namespace corvenna::cloud
