#include "packfile/value_text.h"

#include <langinfo.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>

namespace corvenna {
namespace {

static_assert(std::numeric_limits<double>::is_iec559, "the digits are read off the binary format");

constexpr unsigned kFractionBits = 52;
constexpr unsigned kExponentMask = 0x7FF;
/// The exponent field of a double whose mantissa, read as an integer, is its value: 2^52 to 2^53.
constexpr unsigned kIntegerExponent = 1075;
constexpr std::uint64_t kThousand = 1000;
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

/// A value below 2^53 as the format rounds it.
struct Rounded {
    bool negative;
    std::uint64_t thousandths;
};

/// The format takes the decimal point of the host's locale.
bool LocaleHasPoint() {
    const char *radix = nl_langinfo(RADIXCHAR);
    return radix[0] == '.' && radix[1] == '\0';
}

/// Nothing where the C library has to read the format: 2^53 and more, infinities, NaN, and any
/// value in a locale with another decimal point.
std::optional<Rounded> RoundToThousandths(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const auto exponent = static_cast<unsigned>(bits >> kFractionBits) & kExponentMask;
    if (exponent > kIntegerExponent || !LocaleHasPoint()) {
        return std::nullopt;
    }
    const std::uint64_t hidden = std::uint64_t{1} << kFractionBits;
    const std::uint64_t mantissa = hidden | (bits & (hidden - 1));
    // Zero and subnormal numbers have no hidden bit; their shift is far beyond the largest.
    const unsigned shift = kIntegerExponent - exponent;
    const std::uint64_t thousandths =
        shift > kLargestShift ? 0 : ShiftRounded(mantissa * kThousand, shift);
    return Rounded{(bits >> 63) != 0, thousandths};
}

/// Writes two digits so that they end before `end`; returns the first of them.
char *PrintPairBefore(char *end, std::uint32_t pair) {
    static constexpr char kPairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    end -= 2;
    std::memcpy(end, kPairs + static_cast<std::size_t>(pair) * 2, 2);
    return end;
}

char *PrintDigitBefore(char *end, std::uint32_t digit) {
    *--end = static_cast<char>('0' + digit);
    return end;
}

/// Writes the decimal digits of a number so that they end before `end`; returns the first of them.
char *PrintDigitsBefore(char *end, std::uint64_t number) {
    while (number > std::numeric_limits<std::uint32_t>::max()) {
        end = PrintPairBefore(end, static_cast<std::uint32_t>(number % 100));
        number /= 100;
    }
    auto small = static_cast<std::uint32_t>(number);  // 64-bit division is slow on a 32-bit core
    while (small >= 100) {
        end = PrintPairBefore(end, small % 100);
        small /= 100;
    }
    return small >= 10 ? PrintPairBefore(end, small) : PrintDigitBefore(end, small);
}

char *PrintThousandthsBefore(char *end, std::uint64_t thousandths) {
    const auto decimals = static_cast<std::uint32_t>(thousandths % kThousand);
    end = PrintPairBefore(end, decimals % 100);
    end = PrintDigitBefore(end, decimals / 100);
    *--end = '.';
    return PrintDigitsBefore(end, thousandths / kThousand);
}

/// A sign, sixteen digits, the point and three digits fit.
constexpr std::size_t kTextRoom = 24;

std::size_t PrintByFormat(double value, char *field, std::size_t capacity) {
    const int length = std::snprintf(field, capacity, "%.3lf", value);
    return std::min(static_cast<std::size_t>(length), capacity - 1);
}

}  // namespace

std::size_t PrintValue(double value, char *field, std::size_t capacity) {
    const std::optional<Rounded> rounded = RoundToThousandths(value);
    if (!rounded) {
        return PrintByFormat(value, field, capacity);
    }
    char text[kTextRoom];
    char *const end = text + sizeof text;
    char *begin = PrintThousandthsBefore(end, rounded->thousandths);
    if (rounded->negative) {
        *--begin = '-';
    }
    const std::size_t length = std::min(static_cast<std::size_t>(end - begin), capacity - 1);
    std::memcpy(field, begin, length);
    field[length] = '\0';
    return length;
}

std::size_t PrintedLength(double value, std::size_t capacity) {
    const std::optional<Rounded> rounded = RoundToThousandths(value);
    if (!rounded) {
        return std::min(static_cast<std::size_t>(std::snprintf(nullptr, 0, "%.3lf", value)),
                        capacity - 1);
    }
    std::size_t length = rounded->negative ? 6 : 5;  // "-0.000", "0.000"
    // The text grows by a digit at 10, 100, ...; there is one before the point even below 1.
    for (std::uint64_t limit = 10 * kThousand; rounded->thousandths >= limit; limit *= 10) {
        ++length;
    }
    return std::min(length, capacity - 1);
}

DataIdText::DataIdText(std::uint32_t id) {
    static constexpr auto kPairs = [] {
        std::array<std::array<char, 2>, 256> pairs{};
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            pairs[i] = {"0123456789abcdef"[i >> 4], "0123456789abcdef"[i & 0xF]};
        }
        return pairs;
    }();
    for (std::size_t i = 0; i < kLength / 2; ++i) {
        std::memcpy(text_ + 2 * i, kPairs[id >> 24].data(), 2);
        id <<= 8;
    }
    text_[kLength] = '\0';
}

}  // namespace corvenna
