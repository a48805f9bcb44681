#include "tools/common/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace corvenna {

FolderLock::FolderLock(const std::string &folder, const std::string &owner)
    : file_(open((folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    if (!file_) {
        throw std::system_error(errno, std::generic_category(), folder + "/lock");
    }
    if (flock(file_.Get(), LOCK_EX | LOCK_NB) != 0) {
        throw std::runtime_error("another " + owner + " is at work in " + folder);
    }
}

}  // namespace corvenna
