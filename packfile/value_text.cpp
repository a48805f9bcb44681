#include "packfile/value_text.h"

#include <langinfo.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>

#include "base/digits.h"

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
    return std::strcmp(nl_langinfo(RADIXCHAR), ".") == 0;
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

std::size_t PrintDataId(std::uint32_t id, char *field) {
    static constexpr auto kPairs = [] {
        std::array<std::array<char, 2>, 256> pairs{};
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            pairs[i] = {"0123456789abcdef"[i >> 4], "0123456789abcdef"[i & 0xF]};
        }
        return pairs;
    }();
    for (std::size_t i = 0; i < kDataIdLength / 2; ++i) {
        std::memcpy(field + 2 * i, kPairs[id >> 24].data(), 2);
        id <<= 8;
    }
    return kDataIdLength;
}

}  // namespace corvenna
