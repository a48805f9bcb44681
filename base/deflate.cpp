#include "base/deflate.h"

#include <zlib.h>

#include <new>

namespace corvenna {

Deflated DeflateWithNul(const char *text, std::size_t length, char *output, std::size_t capacity) {
    auto produced = static_cast<uLongf>(capacity);
    const int result =
        compress(reinterpret_cast<Bytef *>(output), &produced,
                 reinterpret_cast<const Bytef *>(text), static_cast<uLong>(length + 1));
    if (result == Z_MEM_ERROR) {
        throw std::bad_alloc();
    }
    return {static_cast<std::size_t>(produced), result == Z_OK};
}

}  // namespace corvenna
