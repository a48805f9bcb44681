#include "tools/cloud/ground/durable_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "base/file_descriptor.h"

namespace corvenna::cloud {
namespace {

void Require(bool good, const std::string &path) {
    if (!good) {
        throw std::system_error(errno, std::generic_category(), path);
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
    const FileDescriptor file(
        open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
    Require(file && fchmod(file.Get(), mode) == 0, temporary);
    WriteWhole(file.Get(), content, temporary);
    Require(fsync(file.Get()) == 0, temporary);
    Require(std::rename(temporary.c_str(), path.c_str()) == 0, path);
    const std::string folder = std::filesystem::absolute(path).parent_path().string();
    const FileDescriptor directory(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Require(directory && fsync(directory.Get()) == 0, folder);
}

}  // namespace corvenna::cloud
