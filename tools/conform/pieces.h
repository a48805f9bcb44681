#pragma once

#include "tools/conform/talk.h"

namespace corvenna::conform {

/// Whether a gateway, which reads each piece of a list by itself, reads this one whole.
inline void JudgePieces(Talk &talk, const char *id, const Reply &reply) {
    constexpr std::size_t kPacketBytes = 1460;
    if (!reply.Arrived()) {
        talk.Explain(id, reply.failure);
        return;
    }
    const std::size_t bytes = reply.headBytes + reply.body.size();
    talk.Judge(id, !reply.chunked, "it is chunked");
    talk.Judge(id, reply.pieces <= 1, "it came in " + std::to_string(reply.pieces) + " pieces");
    talk.Judge(id, bytes <= kPacketBytes, "it has " + std::to_string(bytes) + " bytes");
}

}  // namespace corvenna::conform
