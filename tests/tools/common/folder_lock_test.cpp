#include "tools/common/folder_lock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

namespace corvenna::test {
namespace {

TEST(FolderLock, KeepsASecondProcessOffAsLongAsItLives) {
    std::optional<FolderLock> lock(std::in_place, "/tmp", "gateway");
    EXPECT_THAT([] { FolderLock("/tmp", "gateway"); },
                testing::ThrowsMessage<std::runtime_error>("another gateway is at work in /tmp"));
    lock.reset();
    EXPECT_NO_THROW(FolderLock("/tmp", "gateway"));
}

TEST(FolderLock, NamesTheFileThatCannotBeMade) {
    EXPECT_THAT(
        [] { FolderLock("/tmp/missing", "gateway"); },
        testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("/tmp/missing/lock")));
}

}  // namespace
}  // namespace corvenna::test
