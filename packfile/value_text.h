#pragma once

#include <cstddef>
#include <cstdint>

namespace corvenna {

/// Writes exactly what snprintf(field, capacity, "%.3lf", value) leaves in the field (NaN,
/// infinities, signed zeros, ties, 300-digit numbers and the locale's decimal point included),
/// without reading a format for ordinary values. A longer text is cut at capacity - 1 characters.
/// @param capacity bytes of the field, the NUL included; at least 1.
/// @return the length of the text in the field.
std::size_t PrintValue(double value, char *field, std::size_t capacity);

/// The length of that text, without making it where that is possible.
std::size_t PrintedLength(double value, std::size_t capacity);

/// A value's text in a buffer whose capacity is part of the file format: what does not fit is cut.
template <std::size_t Capacity>
class ValueText {
public:
    explicit ValueText(double value) : length_(PrintValue(value, text_, Capacity)) {}
    const char *Get() const { return text_; }
    std::size_t Length() const { return length_; }

private:
    char text_[Capacity];
    std::size_t length_;
};

/// A data id as the files print it: eight lower-case hexadecimal digits, the text of "%08x".
class DataIdText {
public:
    static constexpr std::size_t kLength = 8;

    explicit DataIdText(std::uint32_t id);
    const char *Get() const { return text_; }

private:
    char text_[kLength + 1];
};

}  // namespace corvenna
