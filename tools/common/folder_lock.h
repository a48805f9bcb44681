#pragma once

#include <string>

#include "base/file_descriptor.h"

namespace corvenna {

/// Keeps a second process off a data folder, for as long as this lives.
class FolderLock {
public:
    /// @param owner what has the folder then, as in "another gateway is at work in ...".
    /// Throws std::runtime_error when another process has it, or when it cannot be written.
    FolderLock(const std::string &folder, const std::string &owner);

private:
    FileDescriptor file_;
};

}  // namespace corvenna
