#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvenna::cloud {

/// How many bytes of a text are no part of a UTF-8 character.
std::size_t CountBrokenUtf8(std::string_view text);

/// Replaces what is not UTF-8 by U+FFFD. Gateways cut names at fixed byte counts, which can split a
/// character; refusing the document for that would lose its data.
std::string CleanUtf8(std::string_view text);

/// Whether text is "YYYY-MM-DD hh:mm:ss" of a day that exists.
bool IsTimeText(std::string_view text);

/// Whether a text is a number as printf writes it: decimal, perhaps with an exponent, or "nan" or
/// "inf", with or without a sign. It may end in the point, because gateways cut long numbers.
bool IsNumberText(std::string_view text);

/// A whole decimal number within bounds; nothing else in the text.
std::optional<long> WholeNumber(std::string_view text, long lowest, long highest);

/// Whether a serial number can be a segment of a path: 1 to 64 bytes of UTF-8 without "/" and
/// control characters.
bool IsSerialNumber(std::string_view text);

/// The parts between slashes, without a leading empty one: "/a/b" gives a, b.
std::vector<std::string> Segments(std::string_view path);

/// The seconds of a time text since 1970-01-01 00:00:00 of the same clock; it must be a time text.
std::int64_t SecondsOf(std::string_view timeText);

/// The time text of such seconds.
std::string TimeText(std::int64_t seconds);

/// Milliseconds since 1970 in UTC.
std::int64_t NowMilliseconds();

/// Such milliseconds as "2024-03-05T07:08:09.123Z".
std::string UtcText(std::int64_t milliseconds);

/// The current time in UTC, as "2024-03-05T07:08:09.123Z".
std::string UtcNow();

/// Lower-case hexadecimal digits of bytes.
std::string Hex(const unsigned char *bytes, std::size_t length);

}  // namespace corvenna::cloud
