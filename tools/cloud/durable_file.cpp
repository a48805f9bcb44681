#include "tools/cloud/durable_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace corvenna::cloud {
namespace {

/// Owns a file descriptor.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int Get() const { return fd_; }

private:
    int fd_;
};

void Require(bool good, const std::string &path) {
    if (!good) {
        throw std::runtime_error(path + ": " + std::generic_category().message(errno));
    }
}

void WriteWhole(int fd, std::string_view content, const std::string &path) {
    while (!content.empty()) {
        const ssize_t written = write(fd, content.data(), content.size());
        Require(written > 0 || errno == EINTR, path);
        content.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

}  // namespace

void WriteDurably(const std::string &path, std::string_view content, mode_t mode) {
    const std::string temporary = path + ".new";
    const Descriptor file(open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
    Require(file.Get() >= 0 && fchmod(file.Get(), mode) == 0, temporary);
    WriteWhole(file.Get(), content, temporary);
    Require(fsync(file.Get()) == 0, temporary);
    Require(std::rename(temporary.c_str(), path.c_str()) == 0, path);
    const std::string folder = std::filesystem::absolute(path).parent_path().string();
    const Descriptor directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Require(directory.Get() >= 0 && fsync(directory.Get()) == 0, folder);
}

}  // namespace corvenna::cloud
