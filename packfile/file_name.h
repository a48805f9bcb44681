#pragma once

#include <ctime>

namespace corvenna {

/// The four kinds of data file.
enum class DataKind { kRealJson, kRealXml, kAlarmJson, kAlarmXml };

/// A produced file's full path, at most 127 characters.
struct FilePath {
    char text[128];
};

/// Names a file after its kind and a broken-down local time: S (real data) or T (alarm data), the
/// time stamp, and an extension that ends in z for a compressed one. A path that is too long is
/// cut.
/// @param dir without a trailing "/".
FilePath PrintFilePath(DataKind kind, bool compressed, const char *dir, const std::tm &time);

}  // namespace corvenna
