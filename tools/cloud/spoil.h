#pragma once

#include <chrono>
#include <string>

#include "tools/cloud/faults.h"

namespace corvenna::cloud {

/// How the bytes of an answer go out.
struct Delivery {
    enum class End { kKeep, kClose, kReset };

    std::string bytes;
    std::chrono::milliseconds wait{0};     ///< before the first byte
    std::chrono::milliseconds perByte{0};  ///< between bytes; 0: all at once
    End end = End::kKeep;                  ///< what happens to the connection afterwards
};

/// Spoils a whole, correct answer as a fault wants it.
Delivery Spoil(const Fault &fault, const std::string &answer);

}  // namespace corvenna::cloud
