#pragma once

/// @file
/// What the clients are asked to do.

#include <cstddef>
#include <cstdint>

namespace corvenna {

/// libcurl's write and read callbacks.
using TransferCallback = std::size_t (*)(char *data, std::size_t size, std::size_t count,
                                         void *user);

constexpr std::size_t kBodyCapacity = 20480;

}  // namespace corvenna

#pragma pack(push, 1)

/// One request whose body is held in memory. Zero-filled by the caller before use.
struct ST_FRAME_MEMORY_UPLOAD {
    char url[128];                             ///< printed with a limit of 127
    char format[16];                           ///< "json" or "xml"
    char method[16];                           ///< "POST", "GET", "PUT" or "DELETE"
    char body[corvenna::kBodyCapacity];        ///< text or deflated text, not always terminated
    std::uint16_t bodyLength;                  ///< bytes of `body` that are sent
    corvenna::TransferCallback writeCallback;  ///< receives the answer's body; see the operations
    corvenna::TransferCallback readCallback;   ///< may be null
};
static_assert(sizeof(ST_FRAME_MEMORY_UPLOAD) == 20642 + 2 * sizeof(void *));

/// One file transfer, up or down. Zero-filled by the caller before use.
struct ST_FRAME_FILE_UPLOAD {
    char url[128];                             ///< printed with a limit of 127
    char format[16];                           ///< "xml"; anything else counts as "json"
    char method[16];                           ///< informative
    char filePath[128];                        ///< file to send, or to write
    corvenna::TransferCallback writeCallback;  ///< may be null
    corvenna::TransferCallback readCallback;   ///< may be null
};
static_assert(sizeof(ST_FRAME_FILE_UPLOAD) == 288 + 2 * sizeof(void *));

#pragma pack(pop)
