#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace corvenna {

/// Copies text into a fixed field the way snprintf(field, Limit, "%s") does: at most Limit - 1
/// characters survive, always NUL-terminated. The limit is behaviour and stands in the call; the
/// field's size is only its bound.
template <std::size_t Limit, std::size_t Size>
void CopyText(char (&field)[Size], const char *text) {
    static_assert(0 < Limit && Limit <= Size, "the limit must fit the field");
    if (memccpy(field, text, '\0', Limit - 1) == nullptr) {
        field[Limit - 1] = '\0';
    }
}

/// snprintf into a fixed field with a limit of its own, at most Limit - 1 characters.
template <std::size_t Limit, std::size_t Size>
__attribute__((format(printf, 2, 3))) void PrintText(char (&field)[Size], const char *format, ...) {
    static_assert(0 < Limit && Limit <= Size, "the limit must fit the field");
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(field, Limit, format, arguments));
    va_end(arguments);
}

/// A decimal number as the configuration means it: leading blanks and a sign are taken, reading
/// stops at the first other character, text that is no number gives 0.
inline long Decimal(const char *text) {
    return std::strtol(text, nullptr, 10);
}

/// A whole number as decimal text.
class DecimalText {
public:
    explicit DecimalText(int number) {
        static_cast<void>(std::snprintf(text_, sizeof text_, "%d", number));
    }
    const char *Get() const { return text_; }

private:
    char text_[12];
};

}  // namespace corvenna
