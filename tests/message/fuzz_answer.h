#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/message/answers.h"

extern "C" {

/// Answers are parsed a thousand times a second here: nothing is queued for a log.
__attribute__((format(printf, 2, 3))) inline int __wrap_log_Text(int /*level*/,
                                                                 const char * /*format*/, ...) {
    return 1;
}
}

namespace corvenna::test {

/// One input in both formats.
inline int FuzzAnswer(const Answer &answer, const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    ParseAnything(answer, "json", text);
    ParseAnything(answer, "xml", text);
    return 0;
}

}  // namespace corvenna::test
