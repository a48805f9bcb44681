#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/cloud/http/response.h"

namespace corvenna::cloud {

struct BytePart {
    std::int64_t start;
    std::int64_t length;
};

/// What a Range header asks for of something that has so many bytes.
struct ByteRange {
    enum class Kind {
        kWhole,          ///< no range, or none that can be read: it does not count
        kParts,          ///< at least one part
        kUnsatisfiable,  ///< nothing of what is asked for is there
    };

    Kind kind = Kind::kWhole;
    std::vector<BytePart> parts;
};

/// Reads "bytes=7-", "bytes=7-9", "bytes=-3" and lists of them. What lies outside is cut off. More
/// than a few parts, or parts that overlap, do not count: no client needs them.
ByteRange ReadRange(std::string_view header, std::int64_t size);

/// Answers with a file, or what a range asks for of it: 200, 206 or 416.
void SendFile(Response &response, const std::shared_ptr<const BodySource> &file,
              const ByteRange &range);

}  // namespace corvenna::cloud
