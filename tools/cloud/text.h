#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvenna::cloud {

/// Replaces what is not UTF-8 by U+FFFD. Gateways cut names at fixed byte counts, which can split a
/// character; refusing the document for that would lose its data.
std::string CleanUtf8(std::string_view text);

/// Whether text is "YYYY-MM-DD hh:mm:ss" of a day that exists.
bool IsTimeText(std::string_view text);

/// A whole decimal number within bounds; nothing else in the text.
std::optional<long> WholeNumber(std::string_view text, long lowest, long highest);

/// Whether a serial number can be a segment of a path: 1 to 64 bytes of UTF-8 without "/" and
/// control characters.
bool IsSerialNumber(std::string_view text);

/// The parts between slashes, without a leading empty one: "/a/b" gives a, b.
std::vector<std::string> Segments(std::string_view path);

/// The current time in UTC, as "2024-03-05T07:08:09.123Z".
std::string UtcNow();

/// Lower-case hexadecimal digits of bytes.
std::string Hex(const unsigned char *bytes, std::size_t length);

}  // namespace corvenna::cloud
