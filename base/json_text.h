#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "base/text_pieces.h"

namespace corvenna {

/// A compact JSON document in memory, spelt from front to back. Knows where commas go; that the
/// calls make a document is up to the caller. Out of memory throws std::bad_alloc.
class JsonText {
public:
    void StartObject() { Open('{'); }
    void StartArray() { Open('['); }
    void EndObject() { Close('}'); }
    void EndArray() { Close(']'); }

    /// A key that needs no escaping.
    template <std::size_t Size>
    void Key(const char (&name)[Size]) {
        constexpr std::size_t kLength = Size - 1;
        char *at = Begin(kLength + 3);
        *at++ = '"';
        std::memcpy(at, name, kLength);
        at += kLength;
        *at++ = '"';
        *at++ = ':';
        text_.Take(at);
        first_ = true;
    }

    /// Any text: quotes, backslashes and control characters are escaped, all else is copied, UTF-8
    /// or not.
    void String(std::string_view text);

    /// A text of at most `room` characters that needs no escaping: print(field) writes it and
    /// returns its length.
    template <class Print>
    void Printed(std::size_t room, Print print) {
        char *at = Begin(room + 2);
        *at++ = '"';
        at += print(at);
        *at++ = '"';
        text_.Take(at);
    }

    void Uint(unsigned number);
    void Int(int number);

    /// The document so far.
    TextPieces &Text() { return text_; }

private:
    /// Room for an entry behind those of its level.
    char *Begin(std::size_t length) {
        char *at = text_.Room(length + 1);
        if (!first_) {
            *at++ = ',';
        }
        first_ = false;
        return at;
    }
    void Open(char bracket) {
        char *at = Begin(1);
        *at++ = bracket;
        text_.Take(at);
        first_ = true;
    }
    void Close(char bracket) {
        char *at = text_.Room(1);
        *at++ = bracket;
        text_.Take(at);
        first_ = false;
    }

    void Raw(std::string_view entry);

    TextPieces text_;
    bool first_ = true;  ///< nothing precedes the next entry at its level; a key's value neither
};

}  // namespace corvenna
