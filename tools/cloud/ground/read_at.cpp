#include "tools/cloud/ground/read_at.h"

#include <unistd.h>

namespace corvenna::cloud {

std::size_t ReadAt(const FileDescriptor &file, std::int64_t place, char *to,
                   std::size_t length) noexcept {
    std::size_t done = 0;
    while (done < length) {
        const auto next = static_cast<off_t>(place + static_cast<std::int64_t>(done));
        const ssize_t got = pread(file.Get(), to + done, length - done, next);
        if (got <= 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return done;
}

}  // namespace corvenna::cloud
