#include "tools/cloud/ready_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace corvenna::cloud {

ReadyFile::ReadyFile(const std::string &path) : path_(path), temporary_(path + ".new") {
    if (path_.empty()) {
        return;
    }
    file_.reset(std::fopen(temporary_.c_str(), "we"));
    if (!file_) {
        Fail();
    }
}

ReadyFile::~ReadyFile() {
    if (file_) {
        unlink(temporary_.c_str());
    }
}

void ReadyFile::Fail() const {
    throw std::runtime_error("cannot write the ready file " + path_ + ": " + std::strerror(errno));
}

void ReadyFile::Write(const std::string &line) {
    if (!file_) {
        return;
    }
    if (std::fputs((line + "\n").c_str(), file_.get()) < 0 || std::fclose(file_.release()) != 0 ||
        std::rename(temporary_.c_str(), path_.c_str()) != 0) {
        const int error = errno;
        unlink(temporary_.c_str());
        errno = error;
        Fail();
    }
}

}  // namespace corvenna::cloud
