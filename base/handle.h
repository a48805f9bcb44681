#pragma once

#include <cstdio>
#include <memory>

namespace corvenna {

/// Deleter that calls a C library's free function. An owner made with it has the size of a pointer.
template <auto Free>
struct FreedBy {
    template <class T>
    void operator()(T *handle) const {
        static_cast<void>(Free(handle));
    }
};

/// Owns a stdio stream. Who writes and must know whether the last bytes arrived calls release(),
/// then fclose, and looks at its result.
using File = std::unique_ptr<std::FILE, FreedBy<std::fclose>>;

}  // namespace corvenna
