#include "tools/cloud/http/request.h"

#include <algorithm>

namespace corvenna::cloud {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

char Lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

int HexValue(char digit) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const std::size_t value = kDigits.find(Lower(digit));
    return value == std::string_view::npos ? -1 : static_cast<int>(value);
}

/// Undoes percent coding; a percent sign without two digits stays what it is.
std::string Decoded(std::string_view text, bool plusIsBlank) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const int high = text[i] == '%' && i + 2 < text.size() ? HexValue(text[i + 1]) : -1;
        const int low = high >= 0 ? HexValue(text[i + 2]) : -1;
        if (low >= 0) {
            decoded += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            decoded += plusIsBlank && text[i] == '+' ? ' ' : text[i];
        }
    }
    return decoded;
}

/// The text before a separator, which goes with it.
std::string_view TakeUpTo(std::string_view &text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return taken;
}

const std::string *Find(const Pairs &pairs, std::string_view name) {
    const auto found = std::find_if(pairs.begin(), pairs.end(),
                                    [name](const auto &pair) { return pair.first == name; });
    return found == pairs.end() ? nullptr : &found->second;
}

const std::string *FindHeader(const Pairs &pairs, std::string_view name) {
    const auto found = std::find_if(pairs.begin(), pairs.end(), [name](const auto &pair) {
        return EqualsIgnoringCase(pair.first, name);
    });
    return found == pairs.end() ? nullptr : &found->second;
}

std::string_view WithoutAuthority(std::string_view target) {
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (EqualsIgnoringCase(target.substr(0, scheme.size()), scheme)) {
            const std::size_t slash = target.find('/', scheme.size());
            return slash == std::string_view::npos ? "/" : target.substr(slash);
        }
    }
    return target;
}

}  // namespace

bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

bool Request::HasHeader(std::string_view name) const {
    return FindHeader(headers, name) != nullptr;
}

std::string Request::Header(std::string_view name) const {
    const std::string *value = FindHeader(headers, name);
    return value == nullptr ? "" : *value;
}

bool Request::HasParameter(std::string_view name) const {
    return Find(parameters, name) != nullptr;
}

std::string Request::Parameter(std::string_view name) const {
    const std::string *value = Find(parameters, name);
    return value == nullptr ? "" : *value;
}

void SetTarget(Request &request, std::string_view target) {
    request.target = target;
    std::string_view query = WithoutAuthority(target);
    query = query.substr(0, query.find('#'));
    request.path = Decoded(TakeUpTo(query, '?'), false);
    request.parameters.clear();
    while (!query.empty()) {
        std::string_view value = TakeUpTo(query, '&');
        const std::string_view name = TakeUpTo(value, '=');
        if (!name.empty()) {
            request.parameters.emplace_back(Decoded(name, true), Decoded(value, true));
        }
    }
}

}  // namespace corvenna::cloud
