#include "base/file_descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

namespace corvenna::test {
namespace {

int OpenNull() {
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool IsOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) != -1;
}

TEST(FileDescriptor, IsClosedWithItsOwner) {
    const int descriptor = OpenNull();
    {
        const FileDescriptor owner(descriptor);
        ASSERT_TRUE(owner);
        EXPECT_EQ(descriptor, owner.Get());
        EXPECT_TRUE(IsOpen(descriptor));
    }
    EXPECT_FALSE(IsOpen(descriptor));
}

TEST(FileDescriptor, ANegativeOneIsNone) {
    EXPECT_FALSE(FileDescriptor());
    EXPECT_FALSE(FileDescriptor(-1));
    EXPECT_TRUE(FileDescriptor(-1).Close());
    const FileDescriptor zero(dup2(OpenNull(), 0));
    EXPECT_TRUE(zero) << "zero is one";
}

TEST(FileDescriptor, ClosingTellsWhatCloseTold) {
    const int descriptor = OpenNull();
    FileDescriptor owner(descriptor);
    FileDescriptor second(descriptor);
    EXPECT_TRUE(owner.Close());
    EXPECT_FALSE(owner);
    EXPECT_TRUE(owner.Close()) << "nothing is left to close";
    EXPECT_FALSE(second.Close());
    EXPECT_FALSE(second) << "it is gone all the same";
}

TEST(FileDescriptor, MovesAndIsNotCopied) {
    static_assert(!std::is_copy_constructible_v<FileDescriptor>);
    static_assert(!std::is_copy_assignable_v<FileDescriptor>);
    const int first = OpenNull();
    const int second = OpenNull();
    FileDescriptor owner(first);
    FileDescriptor other(second);
    owner = std::move(other);
    EXPECT_FALSE(IsOpen(first)) << "what it held before is closed";
    EXPECT_EQ(second, owner.Get());
    FileDescriptor last(std::move(owner));
    EXPECT_EQ(second, last.Get());
    EXPECT_TRUE(IsOpen(second));
}

TEST(FileDescriptor, AReleasedOneIsItsCallersToClose) {
    const int descriptor = OpenNull();
    {
        FileDescriptor owner(descriptor);
        EXPECT_EQ(descriptor, owner.Release());
        EXPECT_FALSE(owner);
    }
    EXPECT_TRUE(IsOpen(descriptor));
    close(descriptor);
}

}  // namespace
}  // namespace corvenna::test
