#include "packfile/value_text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace corvenna {
namespace {

static_assert(std::numeric_limits<double>::is_iec559, "the digits are read off the binary format");

constexpr unsigned kFractionBits = 52;
constexpr unsigned kExponentMask = 0x7FF;
/// The exponent field of a double whose mantissa, read as an integer, is its value: 2^52 to 2^53.
constexpr unsigned kIntegerExponent = 1075;
constexpr unsigned kThousand = 1000;
/// A 53-bit mantissa times a thousand stays below 2^63; shifted by more than this it is under 1/2.
constexpr unsigned kLargestShift = 63;

/// product / 2^shift, rounded to the nearest integer and to an even one from the middle, which is
/// how the C library rounds a decimal expansion that is known exactly.
std::uint64_t ShiftRounded(std::uint64_t product, unsigned shift) {
    if (shift == 0) {
        return product;
    }
    const std::uint64_t quotient = product >> shift;
    const std::uint64_t rest = product - (quotient << shift);
    const std::uint64_t half = std::uint64_t{1} << (shift - 1);
    const bool up = rest > half || (rest == half && (quotient & 1) != 0);
    return quotient + (up ? 1 : 0);
}

/// Writes the decimal digits of a number so that they end before `end`; returns the first of them.
char *PrintDigitsBefore(char *end, std::uint64_t number) {
    while (number > std::numeric_limits<std::uint32_t>::max()) {
        *--end = static_cast<char>('0' + number % 10);
        number /= 10;
    }
    auto small = static_cast<std::uint32_t>(number);  // Ours: 64-bit division is slow on ARM.
    do {
        *--end = static_cast<char>('0' + small % 10);
        small /= 10;
    } while (small != 0);
    return end;
}

char *PrintThousandthsBefore(char *end, std::uint64_t thousandths) {
    auto decimals = static_cast<std::uint32_t>(thousandths % kThousand);
    for (int i = 0; i < 3; ++i) {
        *--end = static_cast<char>('0' + decimals % 10);
        decimals /= 10;
    }
    *--end = '.';
    return PrintDigitsBefore(end, thousandths / kThousand);
}

std::size_t PrintByFormat(double value, char *field, std::size_t capacity) {
    const int length = std::snprintf(field, capacity, "%.3lf", value);
    return std::min(static_cast<std::size_t>(length), capacity - 1);
}

}  // namespace

std::size_t PrintValue(double value, char *field, std::size_t capacity) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const auto exponent = static_cast<unsigned>(bits >> kFractionBits) & kExponentMask;
    if (exponent > kIntegerExponent) {  // 2^53 and more, infinities, NaN
        return PrintByFormat(value, field, capacity);
    }
    const std::uint64_t hidden = std::uint64_t{1} << kFractionBits;
    const std::uint64_t mantissa = hidden | (bits & (hidden - 1));
    // Zero and subnormal numbers have no hidden bit; their shift is far beyond the largest.
    const unsigned shift = kIntegerExponent - exponent;
    const std::uint64_t thousandths =
        shift > kLargestShift ? 0 : ShiftRounded(mantissa * kThousand, shift);

    char text[24];  // a sign, sixteen digits, the point and three digits fit
    char *const end = text + sizeof text;
    char *begin = PrintThousandthsBefore(end, thousandths);
    if ((bits >> 63) != 0) {
        *--begin = '-';
    }
    const std::size_t length = std::min(static_cast<std::size_t>(end - begin), capacity - 1);
    std::memcpy(field, begin, length);
    field[length] = '\0';
    return length;
}

DataIdText::DataIdText(std::uint32_t id) {
    for (std::size_t i = kLength; i > 0; --i) {
        text_[i - 1] = "0123456789abcdef"[id & 0xF];
        id >>= 4;
    }
    text_[kLength] = '\0';
}

}  // namespace corvenna
