#include "tools/gateway/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "base/file_descriptor.h"

namespace corvenna::gateway {

namespace {

bool WriteAllOf(int file, const std::string &content) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t written = write(file, content.data() + done, content.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += static_cast<std::size_t>(written < 0 ? 0 : written);
    }
    return true;
}

}  // namespace

void WriteWholeFile(const std::string &path, const std::string &content, mode_t mode) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    const std::string unfinished = path + ".new";
    static_cast<void>(unlink(unfinished.c_str()));  // of a process that was killed
    FileDescriptor file(
        open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
    // The mode as it is asked for, whatever the process's mask leaves of it.
    if (!file || fchmod(file.Get(), mode) != 0 || !WriteAllOf(file.Get(), content) ||
        !file.Close() || std::rename(unfinished.c_str(), path.c_str()) != 0) {
        const int error = errno;
        static_cast<void>(unlink(unfinished.c_str()));
        throw std::system_error(error, std::generic_category(), "cannot write " + path);
    }
}

}  // namespace corvenna::gateway
