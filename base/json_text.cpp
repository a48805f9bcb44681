#include "base/json_text.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "base/digits.h"
#include "base/text.h"

namespace corvenna {
namespace {

/// What stands for a character: itself, or a backslash with a letter, or "\u00" with its digits.
constexpr char kAsItIs = '\0';
constexpr char kAsNumber = 'u';
constexpr auto kEscapes = [] {
    std::array<char, 256> escapes{};
    for (std::size_t c = 0; c < ' '; ++c) {
        escapes[c] = kAsNumber;
    }
    escapes['\b'] = 'b';
    escapes['\f'] = 'f';
    escapes['\n'] = 'n';
    escapes['\r'] = 'r';
    escapes['\t'] = 't';
    escapes['"'] = '"';
    escapes['\\'] = '\\';
    return escapes;
}();
constexpr std::size_t kLongestEscape = 6;  // "\u001F"

char *PrintEscape(char *at, unsigned char character, char escape) {
    *at++ = '\\';
    *at++ = escape;
    if (escape == kAsNumber) {
        *at++ = '0';
        *at++ = '0';
        *at++ = "01"[character >> 4];
        *at++ = "0123456789ABCDEF"[character & 0xF];
    }
    return at;
}

char *PrintEscaped(char *at, std::string_view text) {
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        const char escape = kEscapes[code];
        if (escape == kAsItIs) {
            *at++ = character;
        } else {
            at = PrintEscape(at, code, escape);
        }
    }
    return at;
}

}  // namespace

void JsonText::String(std::string_view text) {
    constexpr std::size_t kRun = TextPieces::kLongestRun / kLongestEscape - 1;
    char *at = Begin(1);
    *at++ = '"';
    text_.Take(at);
    for (; text.size() > kRun; text.remove_prefix(kRun)) {
        text_.Take(PrintEscaped(text_.Room(kRun * kLongestEscape), text.substr(0, kRun)));
    }
    at = PrintEscaped(text_.Room(text.size() * kLongestEscape + 1), text);
    *at++ = '"';
    text_.Take(at);
}

void JsonText::Uint(unsigned number) {
    char digits[10];
    char *const end = digits + sizeof digits;
    const char *const first = PrintDigitsBefore(end, number);
    Raw({first, static_cast<std::size_t>(end - first)});
}

void JsonText::Int(int number) {
    const DecimalText digits(number);
    Raw({digits.Get(), digits.Length()});
}

void JsonText::Raw(std::string_view entry) {
    char *at = Begin(entry.size());
    std::memcpy(at, entry.data(), entry.size());
    text_.Take(at + entry.size());
}

}  // namespace corvenna
