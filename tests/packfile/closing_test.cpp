// A close that fails, as it may on a network file system: the last moment at which a file turns out
// not to be whole.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace {

std::atomic<bool> gFailing{false};

}  // namespace

/// In front of the C library's for the whole process, the stream library's calls too.
extern "C" __attribute__((visibility("default"))) int fclose(std::FILE *stream) {
    static const auto kReal = reinterpret_cast<int (*)(std::FILE *)>(dlsym(RTLD_NEXT, "fclose"));
    const int result = kReal(stream);
    if (!gFailing) {
        return result;
    }
    errno = EIO;
    return EOF;
}

namespace corvenna::test {
namespace {

class Closing : public EveryFormat {
protected:
    std::int32_t CreateWithFailingClose() {
        gFailing = true;
        const std::int32_t result = CreateRealData();
        gFailing = false;
        return result;
    }

    void ExpectGivenUp(const std::string &extension) {
        const std::string path = dir_ + "/S20240305070809." + extension;
        EXPECT_TRUE(files_.empty());
        EXPECT_TRUE(ListFolder(dir_).empty());
        ASSERT_FALSE(log_.Text().empty());
        EXPECT_EQ(log_.Text()[0],
                  (LogEntry{5, "Data file " + path + ": close failed: " + std::strerror(EIO)}));
    }
};

INSTANTIATE_TEST_SUITE_P(Formats, Closing, testing::Values("json", "xml"), FormatName);

TEST_P(Closing, UncompressedFileWhoseCloseFailsIsTakenAway) {
    Configure(GetParam());
    EXPECT_EQ(CreateWithFailingClose(), -1);
    ExpectGivenUp(GetParam());
}

TEST_P(Closing, CompressedFileWhoseCloseFailsIsTakenAway) {
    Configure(GetParam(), true);
    EXPECT_EQ(CreateWithFailingClose(), -1);
    ExpectGivenUp(std::string(GetParam()) + 'z');
}

}  // namespace
}  // namespace corvenna::test
