#include "tools/cloud/ground/text.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>

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

std::size_t CountBrokenUtf8(std::string_view text) {
    std::size_t broken = 0;
    while (!text.empty()) {
        if (static_cast<unsigned char>(text.front()) < 0x80) {
            text.remove_prefix(1);
            continue;
        }
        const std::size_t length = SequenceLength(text);
        broken += length == 0 ? 1 : 0;
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return broken;
}

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

bool IsNumberText(std::string_view text) {
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        text.remove_prefix(1);
    }
    if (text == "nan" || text == "inf") {
        return true;
    }
    if (text.empty() || text.find_first_not_of("0123456789.eE+-") != std::string_view::npos ||
        text.front() == '+' || text.front() == '-') {
        return false;
    }
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
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
           Number(text.substr(17, 2)) < 60;
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

std::int64_t SecondsOf(std::string_view timeText) {
    const std::int64_t year = Number(timeText.substr(0, 4));
    const std::int64_t month = Number(timeText.substr(5, 2));
    const std::int64_t day = Number(timeText.substr(8, 2));
    // Years that begin in March have their leap day at the end.
    const std::int64_t shifted = month > 2 ? year : year - 1;
    const std::int64_t era = (shifted >= 0 ? shifted : shifted - 399) / 400;
    const std::int64_t yearOfEra = shifted - era * 400;
    const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    const std::int64_t days = era * 146097 + dayOfEra - 719468;
    const std::int64_t hours = days * 24 + Number(timeText.substr(11, 2));
    const std::int64_t minutes = hours * 60 + Number(timeText.substr(14, 2));
    return minutes * 60 + Number(timeText.substr(17, 2));
}

// Not with gmtime: where time_t has 32 bits, it ends in 2038.
std::string TimeText(std::int64_t seconds) {
    constexpr std::int64_t kDaySeconds = 86400;
    const std::int64_t second = (seconds % kDaySeconds + kDaySeconds) % kDaySeconds;
    const std::int64_t days = (seconds - second) / kDaySeconds + 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shifted = (5 * dayOfYear + 2) / 153;  // months since March
    const std::int64_t day = dayOfYear - (153 * shifted + 2) / 5 + 1;
    const std::int64_t month = shifted < 10 ? shifted + 3 : shifted - 9;
    const std::int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    const auto part = [](std::int64_t number) { return static_cast<int>(number); };
    std::array<char, 64> text{};
    const int length = std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02d",
                                     part(year), part(month), part(day), part(second / 3600),
                                     part(second / 60 % 60), part(second % 60));
    return {text.data(), static_cast<std::size_t>(length)};
}

std::int64_t NowMilliseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::string UtcText(std::int64_t milliseconds) {
    std::string text = TimeText(milliseconds / 1000);
    text[10] = 'T';
    return text + "." + std::to_string(1000 + milliseconds % 1000).substr(1) + "Z";
}

std::string UtcNow() {
    return UtcText(NowMilliseconds());
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
