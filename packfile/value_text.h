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

constexpr std::size_t kDataIdLength = 8;

/// Writes a data id as the files print it, eight lower-case hexadecimal digits (the text of "%08x"
/// without its NUL).
/// @return kDataIdLength.
std::size_t PrintDataId(std::uint32_t id, char *field);

/// The same in a buffer of its own.
class DataIdText {
public:
    explicit DataIdText(std::uint32_t id) { PrintDataId(id, text_); }
    const char *Get() const { return text_; }

private:
    char text_[kDataIdLength + 1] = {};
};

}  // namespace corvenna
