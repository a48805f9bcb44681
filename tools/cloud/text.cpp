#include "tools/cloud/text.h"

#include <array>
#include <charconv>
#include <chrono>
#include <ctime>

namespace corvenna::cloud {
namespace {

constexpr std::size_t kLongestSerialNumber = 64;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsContinuation(unsigned char byte) {
    return (byte & 0xC0U) == 0x80U;
}

/// Length of the valid UTF-8 sequence at the start of a text, 0 when there is none.
std::size_t SequenceLength(std::string_view text) {
    const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return 1;
    }
    std::size_t length = 0;
    unsigned char lowestSecond = 0x80;
    unsigned char highestSecond = 0xBF;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3;
        lowestSecond = first == 0xE0 ? 0xA0 : 0x80;
        highestSecond = first == 0xED ? 0x9F : 0xBF;  // no surrogates
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4;
        lowestSecond = first == 0xF0 ? 0x90 : 0x80;
        highestSecond = first == 0xF4 ? 0x8F : 0xBF;
    }
    if (length == 0 || text.size() < length || byte(1) < lowestSecond || byte(1) > highestSecond) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if (!IsContinuation(byte(i))) {
            return 0;
        }
    }
    return length;
}

int Number(std::string_view digits) {
    int value = 0;
    for (const char digit : digits) {
        value = value * 10 + (digit - '0');
    }
    return value;
}

int DaysOfMonth(int year, int month) {
    constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return kDays.at(static_cast<std::size_t>(month) - 1) + (month == 2 && leap ? 1 : 0);
}

}  // namespace

std::string CleanUtf8(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = SequenceLength(text);
        clean.append(length == 0 ? kReplacement : text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return clean;
}

bool IsTimeText(std::string_view text) {
    constexpr std::string_view kShape = "0000-00-00 00:00:00";
    if (text.size() != kShape.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (kShape[i] == '0' ? !IsDigit(text[i]) : text[i] != kShape[i]) {
            return false;
        }
    }
    const int year = Number(text.substr(0, 4));
    const int month = Number(text.substr(5, 2));
    const int day = Number(text.substr(8, 2));
    return month >= 1 && month <= 12 && day >= 1 && day <= DaysOfMonth(year, month) &&
           Number(text.substr(11, 2)) < 24 && Number(text.substr(14, 2)) < 60 &&
           Number(text.substr(17, 2)) <= 60;
}

std::optional<long> WholeNumber(std::string_view text, long lowest, long highest) {
    long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < lowest ||
        value > highest) {
        return std::nullopt;
    }
    return value;
}

bool IsSerialNumber(std::string_view text) {
    if (text.empty() || text.size() > kLongestSerialNumber || CleanUtf8(text) != text) {
        return false;
    }
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F || c == '/') {
            return false;
        }
    }
    return true;
}

std::vector<std::string> Segments(std::string_view path) {
    std::vector<std::string> segments;
    while (!path.empty()) {
        path.remove_prefix(1);
        const std::size_t length = std::min(path.find('/'), path.size());
        segments.emplace_back(path.substr(0, length));
        path.remove_prefix(length);
    }
    return segments;
}

std::string UtcNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> day{};
    const std::size_t length = std::strftime(day.data(), day.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string fraction = std::to_string(1000 + milliseconds % 1000);
    return std::string(day.data(), length) + "." + fraction.substr(1) + "Z";
}

std::string Hex(const unsigned char *bytes, std::size_t length) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        text += kDigits[bytes[i] >> 4U];
        text += kDigits[bytes[i] & 0x0FU];
    }
    return text;
}

}  // namespace corvenna::cloud
