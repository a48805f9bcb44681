#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "base/file_descriptor.h"

namespace corvenna::test {

/// A terminal that is nobody's.
class Terminal {
public:
    Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
        if (master_ && grantpt(master_.Get()) == 0 && unlockpt(master_.Get()) == 0 &&
            ptsname(master_.Get()) != nullptr) {
            path_ = ptsname(master_.Get());
        }
    }

    /// "" where there are no terminals.
    const std::string &Path() const { return path_; }

private:
    const FileDescriptor master_;
    std::string path_;
};

/// Whether a terminal has become that of the calling process.
inline bool HasTerminal() {
    return static_cast<bool>(FileDescriptor(open("/dev/tty", O_RDWR | O_NOCTTY)));
}

}  // namespace corvenna::test
