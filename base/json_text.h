#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/json.h"

namespace corvenna {

// A document is spelt twice by the same code: into a JsonSize, which only counts, and then into a
// JsonText of exactly that room. A document of any size so takes one allocation, and no growing
// buffer ever holds half as much again as the document.

/// Counts the bytes that a JsonText needs for the same calls.
class JsonSize {
public:
    void StartObject() { Open(); }
    void StartArray() { Open(); }
    void EndObject() { Close(); }
    void EndArray() { Close(); }

    template <std::size_t Size>
    void Key(const char (&)[Size]) {
        Plain(Size - 1);
        ++length_;  // the colon
        first_ = true;
    }
    void String(std::string_view text) {
        Separate();
        reserved_ = std::max(reserved_, length_ + 2 + text.size() * kCharacterRoom);
        length_ += 2 + EscapedLength(text);
    }
    /// A text of that length, known to need no escaping.
    void Plain(std::size_t length) {
        Separate();
        length_ += 2 + length;
    }
    void Uint(unsigned number) { Number(number); }
    void Int(int number) {
        Number(number < 0 ? 0U - static_cast<unsigned>(number) : static_cast<unsigned>(number));
        length_ += number < 0 ? 1 : 0;
    }

    /// Length of the document so far.
    std::size_t Length() const { return length_; }
    /// Room that the Writer asks for on its way, the terminating NUL included.
    std::size_t Capacity() const { return std::max(reserved_, length_ + 1); }

private:
    /// What the Writer reserves for a number, and for a character that it may have to escape.
    static constexpr std::size_t kNumberRoom = 11;
    static constexpr std::size_t kCharacterRoom = 6;

    static std::size_t EscapedLength(std::string_view text);

    void Separate() {
        length_ += first_ ? 0 : 1;
        first_ = false;
    }
    void Open() {
        Separate();
        ++length_;
        first_ = true;
    }
    void Close() {
        ++length_;
        first_ = false;
    }
    void Number(unsigned number) {
        Separate();
        reserved_ = std::max(reserved_, length_ + kNumberRoom);
        do {
            ++length_;
            number /= 10;
        } while (number != 0);
    }

    std::size_t length_ = 0;
    std::size_t reserved_ = 0;
    bool first_ = true;  ///< nothing precedes the next entry at its level; a key's value neither
};

/// A compact JSON document in memory, NUL-terminated.
class JsonText {
public:
    /// @param capacity what JsonSize::Capacity tells; with less, the buffer grows.
    explicit JsonText(std::size_t capacity)
        : buffer_(&heap_, capacity), writer_(buffer_, &heap_, kDepth) {}
    JsonText(const JsonText &) = delete;
    JsonText &operator=(const JsonText &) = delete;

    void StartObject() { writer_.StartObject(); }
    void StartArray() { writer_.StartArray(); }
    void EndObject() { writer_.EndObject(); }
    void EndArray() { writer_.EndArray(); }

    template <std::size_t Size>
    void Key(const char (&name)[Size]) {
        writer_.Plain(name, Size - 1);
    }
    void String(std::string_view text) {
        writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    }
    /// A text known to need no escaping.
    void Plain(std::string_view text) { writer_.Plain(text.data(), text.size()); }
    void Uint(unsigned number) { writer_.Uint(number); }
    void Int(int number) { writer_.Int(number); }

    const char *Text() const { return buffer_.GetString(); }
    std::size_t Length() const { return buffer_.GetSize(); }

private:
    static constexpr std::size_t kDepth = 8;  ///< no document here nests deeper than five levels

    /// A Writer that copies a key or a string known to need no escaping in one piece.
    class PlainWriter : public rapidjson::Writer<rapidjson::StringBuffer> {
    public:
        using rapidjson::Writer<rapidjson::StringBuffer>::Writer;

        void Plain(const char *text, std::size_t length) {
            Prefix(rapidjson::kStringType);
            char *to = os_->Push(length + 2);
            to[0] = '"';
            std::memcpy(to + 1, text, length);
            to[length + 1] = '"';
            EndValue(true);
        }
    };

    rapidjson::CrtAllocator heap_;
    rapidjson::StringBuffer buffer_;
    PlainWriter writer_;
};

inline std::size_t JsonSize::EscapedLength(std::string_view text) {
    constexpr auto kLengths = [] {
        std::array<std::uint8_t, 256> lengths{};
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            lengths[i] = i < ' ' ? 6 : 1;  // "\u001f"
        }
        for (const unsigned char c : {'\b', '\f', '\n', '\r', '\t', '"', '\\'}) {
            lengths[c] = 2;
        }
        return lengths;
    }();
    std::size_t length = 0;
    for (const char c : text) {
        length += kLengths[static_cast<unsigned char>(c)];
    }
    return length;
}

}  // namespace corvenna
