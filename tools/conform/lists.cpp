#include "tools/conform/lists.h"

#include <openssl/evp.h>

#include <cstdarg>
#include <cstdio>
#include <stdexcept>

#include "http/frame.h"
#include "log/level.h"
#include "message/pack_memory.h"
#include "message/parse_memory.h"
#include "message/recall_body.h"
#include "plugin/install_command.h"

// The parsers log what they do not understand. The program is linked with --wrap for their log.

namespace {

std::string &LastMessage() {
    static std::string message;
    return message;
}

}  // namespace

extern "C" {

[[gnu::format(printf, 2, 3)]] int __wrap_log_Text(LogLevel /*level*/, const char *format, ...) {
    char text[512];
    std::va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vsnprintf(text, sizeof text, format, arguments));
    va_end(arguments);
    LastMessage() = text;
    return 0;
}

}  // extern "C"

namespace corvenna::conform {
namespace {

const char *Word(Format format) {
    return format == Format::kXml ? "xml" : "json";
}

/// Calls a parser and says what it found wrong; empty when it understood.
template <class Parse>
std::string ProblemOf(Parse parse) {
    LastMessage() = "the parser reads nothing";
    try {
        return parse() < 0 ? LastMessage() : "";
    } catch (const std::logic_error &) {
        return "a member is missing, or has another type";
    }
}

/// Has the plug-in's own builder write a body.
template <class Build>
std::string BodyOf(Build build) {
    std::vector<char> body(kBodyCapacity);
    const int length = build(body.data(), static_cast<int>(body.size()));
    if (length < 0) {
        throw std::runtime_error("a body cannot be built");
    }
    return {body.data(), static_cast<std::size_t>(length)};
}

}  // namespace

List<Range> ReadRecalls(Format format, const std::string &answer) {
    List<Range> list;
    CParseMemory parser;
    std::vector<recall_time_para> ranges;
    list.problem = ProblemOf([&] {
        return parser.ParseRecallTimeFromMemory(Word(format), answer.c_str(),
                                                static_cast<int>(answer.size()), &ranges);
    });
    for (const recall_time_para &range : ranges) {
        list.entries.push_back({range, RecallTime(range.start).Get(), RecallTime(range.end).Get()});
    }
    return list;
}

List<down_file_para> ReadFiles(Format format, const std::string &answer) {
    List<down_file_para> list;
    CParseMemory parser;
    list.problem = ProblemOf([&] {
        return parser.ParseDownFileFromMemory(Word(format), answer.c_str(),
                                              static_cast<int>(answer.size()), &list.entries);
    });
    return list;
}

bool HasPlainWords(const down_file_para &file) {
    return IsPlainWord(file.md5) && AreInstallWordsPlain(file) && file.file[0] != '\0' &&
           file.file[0] != '/';
}

std::string Md5(const std::string &bytes) {
    unsigned char sum[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), sum, &length, EVP_md5(), nullptr) != 1) {
        throw std::runtime_error("OpenSSL has no MD5");
    }
    static constexpr const char *kDigits = "0123456789abcdef";
    std::string text;
    for (unsigned int index = 0; index < length; ++index) {
        text += kDigits[sum[index] >> 4U];
        text += kDigits[sum[index] & 15U];
    }
    return text;
}

std::string RecallDoneDocument(Format format, const recall_time_para &range) {
    return BodyOf([&](char *body, int capacity) {
        return CPackMemory().CreateDelReCallMemory(Word(format), body, capacity, &range);
    });
}

std::string StatusDocument(Format format, const char *md5, int status) {
    return BodyOf([&](char *body, int capacity) {
        return CPackMemory().CreatePutDownStatusMemory(Word(format), body, capacity, md5, status);
    });
}

}  // namespace corvenna::conform
