#pragma once

#include <unistd.h>

#include <utility>

namespace corvenna {

/// Owns a file descriptor; a negative one is none. It can be moved, and is closed with its owner.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor &&other) noexcept : descriptor_(other.Release()) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept {
        if (this != &other) {
            Close();
            descriptor_ = other.Release();
        }
        return *this;
    }
    ~FileDescriptor() { Close(); }

    explicit operator bool() const { return descriptor_ >= 0; }
    int Get() const { return descriptor_; }

    /// Gives the descriptor to the caller, who closes it.
    int Release() { return std::exchange(descriptor_, -1); }

    /// Closes it at once. @return what close() told, true when there is none. Either way it is
    /// gone.
    bool Close() { return descriptor_ < 0 || close(Release()) == 0; }

private:
    int descriptor_ = -1;
};

}  // namespace corvenna
