#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tools/cloud/faults/faults.h"
#include "tools/cloud/http/response.h"

namespace corvenna::cloud {

/// A whole, correct answer.
struct Answer {
    int status = 0;
    Headers headers;
    std::shared_ptr<const BodySource> body;  ///< null: none
};

/// The bytes of an answer as they go out, and how they go.
struct Delivery {
    enum class End { kKeep, kClose, kReset };

    std::string head;  ///< what goes out before the body
    std::shared_ptr<const BodySource> body;
    std::int64_t bodyLength = 0;           ///< how much of the body
    std::string tail;                      ///< what goes out behind it
    std::chrono::milliseconds wait{0};     ///< before the first byte
    std::chrono::milliseconds perByte{0};  ///< between bytes; 0: as fast as they go
    End end = End::kKeep;                  ///< what happens to the connection afterwards

    std::int64_t Size() const;
    /// Reads bytes from an offset on. @return how many; 0 before the end when the body has become
    /// shorter.
    std::size_t Read(std::int64_t offset, char *to, std::size_t length) const;
};

/// How an answer goes out, spoilt as a fault wants it.
Delivery Deliver(const Answer &answer, const std::optional<Fault> &fault);

}  // namespace corvenna::cloud
