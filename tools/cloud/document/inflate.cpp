#include "tools/cloud/document/inflate.h"

#include <zlib.h>

#include <array>
#include <memory>

#include "base/handle.h"
#include "tools/cloud/document/document.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kBlock = 16384;

void EndInflate(z_stream *stream) {
    inflateEnd(stream);
}

/// Inflates a whole stream and gives its blocks to `take`, which returns what has come so far.
template <class Take>
void Inflate(std::string_view bytes, std::size_t limit, const Take &take) {
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    if (inflateInit(&stream) != Z_OK) {
        throw BadDocument("the compressed data cannot be read");
    }
    const std::unique_ptr<z_stream, FreedBy<EndInflate>> end(&stream);

    std::array<char, kBlock> block{};
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef *>(block.data());
        stream.avail_out = static_cast<uInt>(block.size());
        result = inflate(&stream, Z_NO_FLUSH);
        if (take(std::string_view(block.data(), block.size() - stream.avail_out)) > limit) {
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
}

}  // namespace

std::size_t InflatedSize(std::string_view bytes, std::size_t limit) {
    std::size_t size = 0;
    Inflate(bytes, limit, [&size](std::string_view block) { return size += block.size(); });
    return size;
}

std::string InflateDocument(std::string_view bytes, std::size_t size) {
    std::string text;
    text.reserve(size);
    Inflate(bytes, size, [&text](std::string_view block) { return text.append(block).size(); });
    if (text.empty() || text.back() != '\0') {
        throw BadDocument("the inflated document does not end in a NUL byte");
    }
    text.pop_back();
    return text;
}

}  // namespace corvenna::cloud
