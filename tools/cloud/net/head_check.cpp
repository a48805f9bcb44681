#include "tools/cloud/net/head_check.h"

#include <algorithm>

#include "tools/cloud/http/request.h"

namespace corvenna::cloud {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kMostDigits = 18;
constexpr std::string_view kTokenMarks = "!#$%&'*+-.^_`|~";

bool IsDigit(char letter) {
    return letter >= '0' && letter <= '9';
}

bool IsTokenLetter(char letter) {
    return IsDigit(letter) || (letter >= 'a' && letter <= 'z') ||
           (letter >= 'A' && letter <= 'Z') || kTokenMarks.find(letter) != std::string_view::npos;
}

bool IsToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), IsTokenLetter);
}

bool IsControl(char letter) {
    const auto code = static_cast<unsigned char>(letter);
    return (code < 0x20 && letter != '\t') || code == 0x7f;
}

bool IsLength(std::string_view text) {
    return !text.empty() && text.size() <= kMostDigits &&
           std::all_of(text.begin(), text.end(), IsDigit);
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t start = std::min(text.find_first_not_of(" \t"), text.size());
    text.remove_prefix(start);
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

std::string_view TakeLine(std::string_view &text) {
    const std::size_t end = std::min(text.find(kLineEnd), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + kLineEnd.size(), text.size()));
    return line;
}

/// What the head says about where its request ends, and whom it is for.
struct Framing {
    int lengths = 0, codings = 0, hosts = 0;
    bool lengthGood = true, codingKnown = true;

    void Note(std::string_view name, std::string_view value) {
        if (EqualsIgnoringCase(name, "Content-Length")) {
            ++lengths;
            lengthGood = IsLength(value);
        } else if (EqualsIgnoringCase(name, "Transfer-Encoding")) {
            ++codings;
            codingKnown = EqualsIgnoringCase(value, "chunked");
        } else if (EqualsIgnoringCase(name, "Host")) {
            ++hosts;
        }
    }
};

std::optional<HeadProblem> CheckFraming(const Framing &framing, bool newest) {
    const struct {
        bool bad;
        HeadProblem problem;
    } rows[] = {
        {framing.lengths > 1, {400, "there are two lengths"}},
        {!framing.lengthGood, {400, "the length is no number"}},
        {framing.codings > 0 && framing.lengths > 0, {400, "there are a length and a coding"}},
        {framing.codings > 1, {400, "there are two transfer codings"}},
        {framing.codings > 0 && !newest, {400, "HTTP/1.0 has no transfer coding"}},
        {!framing.codingKnown, {501, "the transfer coding is not chunked"}},
        {framing.hosts > 1, {400, "there are two hosts"}},
        {framing.hosts == 0 && newest, {400, "there is no host"}},
    };
    for (const auto &row : rows) {
        if (row.bad) {
            return row.problem;
        }
    }
    return std::nullopt;
}

bool EndsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

std::optional<HeadProblem> CheckHeadBytes(std::string_view bytes, std::size_t known) {
    // The last known byte again: what stands behind a carriage return was not known then.
    for (std::size_t i = known == 0 ? 0 : known - 1; i < bytes.size(); ++i) {
        const bool lineEnd = bytes[i] == '\n' && i > 0 && bytes[i - 1] == '\r';
        const bool lineMayEnd = bytes[i] == '\r' && (i + 1 == bytes.size() || bytes[i + 1] == '\n');
        if (IsControl(bytes[i]) && !lineEnd && !lineMayEnd) {
            return HeadProblem{400, "the head holds a control character"};
        }
    }
    if (!bytes.empty() && !IsTokenLetter(bytes.front())) {
        return HeadProblem{400, "this is no HTTP"};
    }
    return std::nullopt;
}

std::optional<HeadProblem> CheckHead(std::string_view head) {
    const std::string_view first = TakeLine(head);
    Framing framing;
    for (std::string_view line = TakeLine(head); !line.empty(); line = TakeLine(head)) {
        const std::size_t colon = line.find(':');
        if (line.front() == ' ' || line.front() == '\t') {
            return HeadProblem{400, "a header goes on in a second line"};
        }
        if (colon == std::string_view::npos || !IsToken(line.substr(0, colon))) {
            return HeadProblem{400, "a header has no good name"};
        }
        framing.Note(line.substr(0, colon), Trimmed(line.substr(colon + 1)));
    }
    return CheckFraming(framing, EndsWith(first, "HTTP/1.1"));
}

}  // namespace corvenna::cloud
