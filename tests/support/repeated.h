#pragma once

#include <string>

namespace corvenna::test {

inline std::string Repeated(const std::string &text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

}  // namespace corvenna::test
