#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "base/digits.h"

namespace corvenna {

/// Copies text into a field the way snprintf(field, limit, "%s") does: at most limit - 1 characters
/// survive, always NUL-terminated.
inline void CopyText(char *field, std::size_t limit, const char *text) {
    if (memccpy(field, text, '\0', limit - 1) == nullptr) {
        field[limit - 1] = '\0';
    }
}

/// The same for a fixed field. The limit is behaviour and stands in the call; the field's size is
/// only its bound.
template <std::size_t Limit, std::size_t Size>
void CopyText(char (&field)[Size], const char *text) {
    static_assert(0 < Limit && Limit <= Size, "the limit must fit the field");
    CopyText(field, Limit, text);
}

/// A fixed field to be printed into, with a limit of its own.
struct TextField {
    char *text;
    std::size_t limit;
};

template <std::size_t Limit, std::size_t Size>
TextField UpTo(char (&field)[Size]) {
    static_assert(0 < Limit && Limit <= Size, "the limit must fit the field");
    return {field, Limit};
}

template <std::size_t Size>
TextField AllOf(char (&field)[Size]) {
    return {field, Size};
}

/// snprintf into a field, at most limit - 1 characters.
__attribute__((format(printf, 2, 3))) void PrintText(TextField field, const char *format, ...);

/// A decimal number as the configuration means it: leading blanks and a sign are taken, reading
/// stops at the first other character, text that is no number gives 0.
inline long Decimal(const char *text) {
    return std::strtol(text, nullptr, 10);
}

/// A whole number as decimal text.
class DecimalText {
public:
    explicit DecimalText(int number) {
        const bool negative = number < 0;
        const auto size = static_cast<unsigned>(number);
        char *begin = PrintDigitsBefore(text_ + sizeof text_ - 1, negative ? 0U - size : size);
        if (negative) {
            *--begin = '-';
        }
        begin_ = static_cast<std::size_t>(begin - text_);
    }
    const char *Get() const { return text_ + begin_; }
    std::size_t Length() const { return sizeof text_ - 1 - begin_; }

private:
    char text_[12] = {};  ///< the number at its end, and a NUL
    std::size_t begin_;
};

}  // namespace corvenna
