#pragma once

#include <string>

#include "base/handle.h"

namespace corvenna::cloud {

/// The file that tells others that all is served. Made at the start, under another name, so that
/// what cannot be written is known before anything is served; a reader never sees half a line.
class ReadyFile {
public:
    /// @param path empty for no file. Throws std::runtime_error.
    explicit ReadyFile(const std::string &path);
    ~ReadyFile();
    ReadyFile(const ReadyFile &) = delete;
    ReadyFile &operator=(const ReadyFile &) = delete;

    /// Throws std::runtime_error.
    void Write(const std::string &line);

private:
    [[noreturn]] void Fail() const;

    std::string path_, temporary_;
    File file_;
};

}  // namespace corvenna::cloud
