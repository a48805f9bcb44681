#pragma once

// The only place that includes RapidJSON: its assertion must mean the same in every file, because
// the library is made of inline functions.

#include <stdexcept>

namespace corvenna {

/// What every check of RapidJSON's does. There are hundreds: each making its own exception would be
/// a large part of the library.
[[noreturn, gnu::noinline]] inline void ThrowJsonError() {
    throw std::logic_error("rapidjson exception");
}

}  // namespace corvenna

#define RAPIDJSON_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : corvenna::ThrowJsonError())
// Conditions inside noexcept functions cannot be reported by throwing.
#define RAPIDJSON_NOEXCEPT_ASSERT(condition) static_cast<void>(condition)

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdlib>
#include <new>

namespace corvenna {

/// Memory for RapidJSON, which writes to what it gets without looking: throws std::bad_alloc where
/// there is none.
class JsonMemory {
public:
    static const bool kNeedFree = true;

    static void *Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }
    static void *Realloc(void *block, std::size_t /*oldSize*/, std::size_t size) {
        if (size == 0) {
            std::free(block);
            return nullptr;
        }
        void *const grown = std::realloc(block, size);
        if (grown == nullptr) {
            throw std::bad_alloc();
        }
        return grown;
    }
    static void Free(void *block) { std::free(block); }
};

/// A parsed text and all its values.
using JsonDocument =
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<JsonMemory>,
                               JsonMemory>;
using JsonValue = JsonDocument::ValueType;

}  // namespace corvenna
