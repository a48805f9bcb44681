#include "tools/cloud/net/spoil.h"

#include <algorithm>

#include "tools/cloud/http/request.h"

namespace corvenna::cloud {
namespace {

constexpr const char *kLength = "Content-Length";

struct StatusRow {
    int status;
    const char *reason;
};

constexpr StatusRow kReasons[] = {
    {200, "OK"},
    {201, "Created"},
    {202, "Accepted"},
    {204, "No Content"},
    {206, "Partial Content"},
    {300, "Multiple Choices"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {304, "Not Modified"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {408, "Request Timeout"},
    {409, "Conflict"},
    {411, "Length Required"},
    {413, "Payload Too Large"},
    {414, "URI Too Long"},
    {415, "Unsupported Media Type"},
    {416, "Range Not Satisfiable"},
    {426, "Upgrade Required"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Timeout"},
};

const char *ReasonOf(int status) {
    for (const StatusRow &row : kReasons) {
        if (row.status == status) {
            return row.reason;
        }
    }
    return "Status";
}

/// The head with the line end of its last line, without the empty line.
std::string HeadText(const Answer &answer) {
    std::string text =
        "HTTP/1.1 " + std::to_string(answer.status) + " " + ReasonOf(answer.status) + "\r\n";
    for (const auto &[name, value] : answer.headers) {
        text.append(name).append(": ").append(value).append("\r\n");
    }
    return text;
}

/// The head without the header of its length.
std::string HeadWithoutLength(Answer answer) {
    auto &headers = answer.headers;
    headers.erase(std::remove_if(
                      headers.begin(), headers.end(),
                      [](const auto &header) { return EqualsIgnoringCase(header.first, kLength); }),
                  headers.end());
    return HeadText(answer);
}

std::string HeadWithLength(const Answer &answer, std::int64_t length) {
    return HeadWithoutLength(answer) + kLength + ": " + std::to_string(length) + "\r\n\r\n";
}

class Garbage : public BodySource {
public:
    explicit Garbage(std::int64_t size) : size_(size) {}

    std::int64_t Size() const override { return size_; }
    std::size_t Read(std::int64_t offset, char *to, std::size_t length) const override {
        const auto left = static_cast<std::size_t>(std::max<std::int64_t>(0, size_ - offset));
        const std::size_t count = std::min(length, left);
        for (std::size_t i = 0; i < count; ++i) {
            to[i] = ByteAt(static_cast<std::uint64_t>(offset) + i);
        }
        return count;
    }

private:
    /// The same bytes every time, so that what a client makes of them can be repeated.
    static char ByteAt(std::uint64_t place) {
        std::uint64_t bits = (place + 1) * 0x9E3779B97F4A7C15U;
        bits = (bits ^ (bits >> 29U)) * 0xBF58476D1CE4E5B9U;
        return static_cast<char>(bits >> 56U);
    }

    std::int64_t size_;
};

void SpoilWithGarbage(Delivery &delivery, std::int64_t length) {
    delivery.body = std::make_shared<Garbage>(length);
    delivery.bodyLength = length;
}

void SpoilChunks(Delivery &delivery, const Answer &answer) {
    delivery.head = HeadWithoutLength(answer) + "Transfer-Encoding: chunked\r\n\r\n";
    char first = '\0';
    if (delivery.bodyLength > 1 && answer.body->Read(0, &first, 1) == 1) {
        delivery.head += std::string("1\r\n") + first + "\r\n";
    }
    delivery.head += "none\r\n";
    delivery.tail = "\r\n0\r\n\r\n";
}

/// Keeps the first half of the body, or of the head when there is no body.
void Halve(Delivery &delivery) {
    if (delivery.bodyLength == 0) {
        delivery.head.resize(delivery.head.size() / 2);
    }
    delivery.bodyLength /= 2;
}

void SpoilWith(const Fault &fault, const Answer &answer, Delivery &delivery) {
    using End = Delivery::End;
    const std::int64_t length = delivery.bodyLength;
    switch (fault.kind) {
        case FaultKind::kDelay:
            delivery.wait = std::chrono::milliseconds(fault.value);
            break;
        case FaultKind::kDrip:
            delivery.perByte = std::chrono::milliseconds(fault.value);
            break;
        case FaultKind::kResetBefore:
            delivery.head.clear();
            delivery.bodyLength = 0;
            delivery.end = End::kReset;
            break;
        case FaultKind::kResetInside:
            Halve(delivery);
            delivery.end = End::kReset;
            break;
        case FaultKind::kLengthLong:
            delivery.head = HeadWithLength(answer, length + fault.value);
            delivery.end = End::kClose;
            break;
        case FaultKind::kLengthShort:
            delivery.head = HeadWithLength(answer, std::max<std::int64_t>(0, length - fault.value));
            delivery.end = End::kClose;
            break;
        case FaultKind::kChunks:
            SpoilChunks(delivery, answer);
            delivery.end = End::kClose;
            break;
        case FaultKind::kTruncate:
            Halve(delivery);
            delivery.end = End::kClose;
            break;
        case FaultKind::kGarbage:
            delivery.head.clear();
            SpoilWithGarbage(delivery, fault.value);
            delivery.end = End::kClose;
            break;
        case FaultKind::kGarbageBody:
            SpoilWithGarbage(delivery, length);
            break;
        case FaultKind::kStatus:  // the answer already carries it
        case FaultKind::kTlsOld:
        case FaultKind::kTlsBreak:  // connections, not answers
            break;
    }
}

}  // namespace

std::int64_t Delivery::Size() const {
    return static_cast<std::int64_t>(head.size() + tail.size()) + bodyLength;
}

std::size_t Delivery::Read(std::int64_t offset, char *to, std::size_t length) const {
    const auto headLength = static_cast<std::int64_t>(head.size());
    std::size_t done = 0;
    if (offset < headLength) {
        done = head.copy(to, length, static_cast<std::size_t>(offset));
    }
    std::int64_t inBody = offset + static_cast<std::int64_t>(done) - headLength;
    if (done < length && inBody < bodyLength) {
        const auto left = static_cast<std::size_t>(
            std::min<std::int64_t>(bodyLength - inBody, static_cast<std::int64_t>(length - done)));
        const std::size_t got = body->Read(inBody, to + done, left);
        done += got;
        inBody += static_cast<std::int64_t>(got);
    }
    if (done < length && inBody >= bodyLength) {
        done += tail.copy(to + done, length - done, static_cast<std::size_t>(inBody - bodyLength));
    }
    return done;
}

Delivery Deliver(const Answer &answer, const std::optional<Fault> &fault) {
    Delivery delivery;
    delivery.head = HeadText(answer) + "\r\n";
    delivery.body = answer.body;
    delivery.bodyLength = answer.body ? answer.body->Size() : 0;
    if (fault) {
        SpoilWith(*fault, answer, delivery);
    }
    return delivery;
}

}  // namespace corvenna::cloud
