#pragma once

/// @file
/// What the server's answers hold.

#include <cstdint>

#pragma pack(push, 1)

/// One device as the server describes it.
struct ST_DEVICE_INFO {
    std::uint8_t channel;  ///< channel number
    std::uint8_t id;       ///< device number within the channel
    char name[128];        ///< at most 127 characters
    char desc[128];        ///< at most 127 characters
};
static_assert(sizeof(ST_DEVICE_INFO) == 258);

/// One file that the server offers.
struct down_file_para {
    char file[512];     ///< name or relative path on the server
    char md5[64];       ///< expected digest, 32 hexadecimal digits; upper case is ordinary, yet
                        ///< never matches
    std::int32_t type;  ///< 0 update package, 1 configuration file, 9 plain file
    char path[512];     ///< target directory of a plain file
};
static_assert(sizeof(down_file_para) == 1092);

/// One time range whose data the server wants again, in seconds of the Unix epoch.
struct recall_time_para {
    std::int32_t start;  ///< the first second
    std::int32_t end;    ///< the last second
};
static_assert(sizeof(recall_time_para) == 8);

#pragma pack(pop)
