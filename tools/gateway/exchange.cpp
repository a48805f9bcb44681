#include "tools/gateway/exchange.h"

#include <algorithm>
#include <cstdlib>

namespace corvenna::gateway {

namespace {

constexpr const char *kStatusWord = "httpcode";
constexpr const char *kNothingWrong = "No error";  // libcurl's word for a transfer as such

struct Hint {
    int status;
    const char *text;
};

constexpr Hint kHints[] = {
    {400, "the server did not understand what it got"},
    {401, "are user and password right?"},
    {403, "are user and password right?"},
    {404, "is the path prefix right?"},
    {405, "is the path prefix right?"},
    {kTooLarge, "it is too large for the server"},
    {415, "the server does not take this format"},
    {429, "the server asks for fewer requests"},
    {500, "the server has trouble of its own"},
    {502, "a proxy does not reach the server"},
    {503, "the server is not available for the moment"},
    {504, "a proxy does not reach the server"},
};

bool Begins(const std::string &text, const std::string &start) {
    return text.compare(0, start.size(), start) == 0;
}

std::string Trimmed(const std::string &text, const char *characters) {
    const auto first = text.find_first_not_of(characters);
    const auto last = text.find_last_not_of(characters);
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

/// The last word that is a URL; empty when there is none.
std::string UrlIn(const std::string &message) {
    const auto start = std::max(message.rfind("http://") + 1, message.rfind("https://") + 1);
    if (start == 0) {
        return "";
    }
    const auto end = message.find_first_of(" \n", start);
    return message.substr(start - 1, end == std::string::npos ? end : end - start + 1);
}

/// libcurl's words stand between "failed", perhaps with what failed, a colon, and the status.
std::string ReasonIn(const std::string &message) {
    std::string text = message.substr(0, message.rfind(kStatusWord));
    const auto failed = text.find("failed");
    const auto colon = text.find_first_of(":,", failed == std::string::npos ? 0 : failed);
    text = Trimmed(text.substr(colon == std::string::npos ? 0 : colon + 1), " ,:");
    for (const char *around : {"errdesc:", "when get info"}) {
        if (const auto found = text.find(around); found != std::string::npos) {
            text = Trimmed(text.erase(found, std::string(around).size()), " ,");
        }
    }
    return text == kNothingWrong ? "" : text;
}

int StatusIn(const std::string &message) {
    const auto equals = message.find('=', message.rfind(kStatusWord));
    return equals == std::string::npos
               ? 0
               : static_cast<int>(std::strtol(message.c_str() + equals + 1, nullptr, 10));
}

bool TellsAStatus(const std::string &message) {
    return message.rfind(kStatusWord) != std::string::npos;
}

bool IsProgress(const std::string &message) {
    const std::string text = Trimmed(message, " \n");
    const auto ends = [&text](const std::string &word) {
        return text.size() >= word.size() &&
               text.compare(text.size() - word.size(), word.size(), word) == 0;
    };
    return Begins(text, "start ") || Begins(text, "Start ") || Begins(text, "Receive Response") ||
           text.find("Success") != std::string::npos || ends("finish") || ends("exit");
}

std::string HintFor(int status) {
    for (const Hint &hint : kHints) {
        if (hint.status == status) {
            return std::string("; ") + hint.text;
        }
    }
    return "";
}

}  // namespace

std::string ReadNote(const std::vector<std::string> &messages) {
    std::string note;
    for (const std::string &message : messages) {
        if (!IsProgress(message) && !TellsAStatus(message)) {
            note = Trimmed(message, " \n");
        }
        if (message.find(kCutBody) != std::string::npos) {
            break;  // what follows are its consequences
        }
    }
    return note;
}

bool TellsTrouble(const std::string &message) {
    constexpr const char *kWords[] = {"failed", "refused", "error", "not installed", "Can not"};
    const auto says = [&message](const char *word) {
        return message.find(word) != std::string::npos;
    };
    return !IsProgress(message) && std::any_of(std::begin(kWords), std::end(kWords), says);
}

Exchange ReadExchange(bool succeeded, const std::vector<std::string> &messages) {
    Exchange exchange;
    exchange.succeeded = succeeded;
    for (const std::string &message : messages) {
        if (Begins(message, "start ")) {
            exchange.url = UrlIn(message);
        } else if (TellsAStatus(message) && !IsProgress(message)) {
            exchange.status = StatusIn(message);
            exchange.reason = ReasonIn(message);
        }
    }
    exchange.note = ReadNote(messages);
    return exchange;
}

std::string Cause(const Exchange &exchange) {
    const std::string &url = exchange.url;
    if (!exchange.reason.empty() && exchange.status == 0) {
        return "no answer from " + url + ": " + exchange.reason;
    }
    if (!exchange.reason.empty()) {
        return url + " answered " + std::to_string(exchange.status) + ", but: " + exchange.reason;
    }
    if (exchange.status != 0) {
        return "refused with " + std::to_string(exchange.status) + " for " + url +
               HintFor(exchange.status);
    }
    if (!exchange.note.empty()) {
        return exchange.note;
    }
    return url.empty() ? "the plug-in's log tells why" : "no answer from " + url;
}

}  // namespace corvenna::gateway
