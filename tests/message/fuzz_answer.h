#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/message/answers.h"

namespace corvenna::test {

/// One input in both formats.
inline int FuzzAnswer(const Answer &answer, const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    ParseAnything(answer, "json", text);
    ParseAnything(answer, "xml", text);
    return 0;
}

}  // namespace corvenna::test
