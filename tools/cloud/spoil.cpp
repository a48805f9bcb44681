#include "tools/cloud/spoil.h"

#include <algorithm>
#include <random>
#include <string_view>

namespace corvenna::cloud {
namespace {

constexpr std::string_view kHeadEnd = "\r\n\r\n";
constexpr std::string_view kLength = "\r\nContent-Length: ";

struct Parts {
    std::string head;  ///< with the line end of its last line, without the empty line
    std::string body;
};

Parts Split(const std::string &answer) {
    const std::size_t end = answer.find(kHeadEnd);
    if (end == std::string::npos) {
        return {answer, ""};
    }
    return {answer.substr(0, end + 2), answer.substr(end + kHeadEnd.size())};
}

void DropLength(std::string &head) {
    const std::size_t start = head.find(kLength);
    if (start != std::string::npos) {
        head.erase(start, head.find("\r\n", start + 2) - start);
    }
}

std::string WithLength(Parts parts, long long length) {
    DropLength(parts.head);
    return parts.head + "Content-Length: " + std::to_string(length) + "\r\n\r\n" + parts.body;
}

std::string Garbage(std::size_t length) {
    // The same bytes every time, so that what a client makes of them can be repeated.
    std::minstd_rand random(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): repeatable on purpose
    std::string bytes(length, '\0');
    std::generate(bytes.begin(), bytes.end(),
                  [&random] { return static_cast<char>(random() % 256); });
    return bytes;
}

std::string WithBrokenChunks(Parts parts) {
    DropLength(parts.head);
    const std::string first = parts.body.substr(0, parts.body.size() / 2);
    const std::string coded = first.empty() ? "" : "1\r\n" + first.substr(0, 1) + "\r\n";
    return parts.head + "Transfer-Encoding: chunked\r\n\r\n" + coded + "none\r\n" + parts.body +
           "\r\n0\r\n\r\n";
}

std::string HalfWay(const Parts &parts, const std::string &answer) {
    return answer.substr(0, answer.size() - (parts.body.size() + 1) / 2 -
                                (parts.body.empty() ? parts.head.size() / 2 : 0));
}

}  // namespace

Delivery Spoil(const Fault &fault, const std::string &answer) {
    const Parts parts = Split(answer);
    const auto bodyLength = static_cast<long long>(parts.body.size());
    using End = Delivery::End;
    Delivery delivery;
    delivery.bytes = answer;
    switch (fault.kind) {
        case FaultKind::kDelay:
            delivery.wait = std::chrono::milliseconds(fault.value);
            break;
        case FaultKind::kDrip:
            delivery.perByte = std::chrono::milliseconds(fault.value);
            break;
        case FaultKind::kResetBefore:
            delivery.bytes.clear();
            delivery.end = End::kReset;
            break;
        case FaultKind::kResetInside:
            delivery.bytes = HalfWay(parts, answer);
            delivery.end = End::kReset;
            break;
        case FaultKind::kLengthLong:
            delivery.bytes = WithLength(parts, bodyLength + fault.value);
            delivery.end = End::kClose;
            break;
        case FaultKind::kLengthShort:
            delivery.bytes = WithLength(parts, std::max(0LL, bodyLength - fault.value));
            delivery.end = End::kClose;
            break;
        case FaultKind::kChunks:
            delivery.bytes = WithBrokenChunks(parts);
            delivery.end = End::kClose;
            break;
        case FaultKind::kTruncate:
            delivery.bytes = HalfWay(parts, answer);
            delivery.end = End::kClose;
            break;
        case FaultKind::kGarbage:
            delivery.bytes = Garbage(static_cast<std::size_t>(fault.value));
            delivery.end = End::kClose;
            break;
        case FaultKind::kGarbageBody:
            delivery.bytes = parts.head + "\r\n" + Garbage(parts.body.size());
            break;
        case FaultKind::kStatus:  // the answer already carries it
        case FaultKind::kTlsOld:
        case FaultKind::kTlsBreak:  // connections, not answers
            break;
    }
    return delivery;
}

}  // namespace corvenna::cloud
