#pragma once

// The only place that includes RapidJSON: its assertion must mean the same in every file, because
// the library is made of inline functions.

#include <stdexcept>

#define RAPIDJSON_ASSERT(condition) \
    ((condition) ? static_cast<void>(0) : throw std::logic_error("rapidjson exception"))
// Conditions inside noexcept functions cannot be reported by throwing.
#define RAPIDJSON_NOEXCEPT_ASSERT(condition) static_cast<void>(condition)

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
