#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace corvenna {

// Each writes decimal digits so that they end before `end`, and returns the first of them.

inline char *PrintDigitBefore(char *end, std::uint32_t digit) {
    *--end = static_cast<char>('0' + digit);
    return end;
}

/// Two digits, 0 to 99.
inline char *PrintPairBefore(char *end, std::uint32_t pair) {
    static constexpr char kPairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    end -= 2;
    std::memcpy(end, kPairs + static_cast<std::size_t>(pair) * 2, 2);
    return end;
}

inline char *PrintDigitsBefore(char *end, std::uint64_t number) {
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

}  // namespace corvenna
