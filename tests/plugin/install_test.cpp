// The operations of a download by themselves.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "plugin/download.h"
#include "plugin/plugin.h"
#include "tests/support/failing_unlink.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileDigest, IsWrittenInLowerCase) {
    WriteFile("/tmp/f", "abc");
    const auto before = ListFolder("/tmp");
    char digest[33];
    EXPECT_EQ(getfilemd5("/tmp/f", digest), digest);
    EXPECT_STREQ(digest, "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(ListFolder("/tmp"), before) << "the digest file must be gone";
}

TEST(FileDigest, OfAMissingFileIsEmpty) {
    char digest[33] = "before";
    getfilemd5("/tmp/missing", digest);
    EXPECT_STREQ(digest, "");
}

TEST(FileDigest, WaitsForNoPipe) {
    char digest[33];
    WriteFile("/tmp/f", "abc");
    ASSERT_EQ(mkfifo("/tmp/f.md5", 0600), 0);
    EXPECT_STREQ(getfilemd5("/tmp/f", digest), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_NE(access("/tmp/f.md5", F_OK), 0);
    ASSERT_EQ(mkfifo("/tmp/pipe", 0600), 0);
    EXPECT_STREQ(getfilemd5("/tmp/pipe", digest), "");
}

TEST(FileDigest, IsNotMadeWhereAPipeStaysInItsPlace) {
    WriteFile("/tmp/f", "abc");
    ASSERT_EQ(mkfifo("/tmp/f.md5", 0600), 0);
    const LogCapture log;
    char digest[33] = "before";
    {
        const FailingUnlink failing;
        EXPECT_STREQ(getfilemd5("/tmp/f", digest), "");
    }
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{5, "no digest of /tmp/f"}));
}

TEST(LastName, IsWhatFollowsTheLastSlash) {
    char name[64];
    EXPECT_EQ(getlastname("a/b/c.bin", name), name);
    EXPECT_STREQ(name, "c.bin");
    EXPECT_STREQ(getlastname("c.bin", name), "c.bin");
    EXPECT_STREQ(getlastname("/c.bin", name), "c.bin");
    EXPECT_STREQ(getlastname("a/", name), "");
    EXPECT_STREQ(getlastname("", name), "");
}

TEST(LastName, SourceAndDestinationMayBeOne) {
    char path[] = "a/b/c.bin";
    EXPECT_STREQ(getlastname(path, path), "c.bin");
}

down_file_para PlainFile(const char *file, const char *path) {
    down_file_para offer{};
    offer.type = 9;
    std::snprintf(offer.file, sizeof offer.file, "%s", file);
    std::snprintf(offer.path, sizeof offer.path, "%s", path);
    return offer;
}

TEST(Install, APlainFileIsCopiedAndTheLocalOneDeleted) {
    WriteFile("/tmp/local", "content");
    const down_file_para offer = PlainFile("a/b.bin", "/quorvane");
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local"), 0);
    EXPECT_EQ(ReadFile("/quorvane/b.bin"), "content");
    EXPECT_NE(access("/tmp/local", F_OK), 0);
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local"), -1) << "nothing left to delete";
}

TEST(Install, APlainFileIsCopiedIntoNoPipe) {
    WriteFile("/tmp/local", "content");
    ASSERT_EQ(mkfifo("/quorvane/pipe", 0600), 0);
    const down_file_para offer = PlainFile("a/pipe", "/quorvane");
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local"), -1);
    EXPECT_EQ(ReadFile("/tmp/local"), "content");
}

TEST(Install, APlainFileIsCopiedIntoNoPipeInAFolderOfItsName) {
    WriteFile("/tmp/local", "content");
    ASSERT_EQ(mkdir("/quorvane/folder", 0755), 0);
    const down_file_para offer = PlainFile("a/folder", "/quorvane");
    ASSERT_EQ(mkfifo("/quorvane/folder/local", 0600), 0);
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local"), -1);
    EXPECT_EQ(ReadFile("/tmp/local"), "content");
    ASSERT_EQ(unlink("/quorvane/folder/local"), 0);
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local"), 0);
    EXPECT_EQ(ReadFile("/quorvane/folder/local"), "content");
}

TEST(Install, AnIgnoredTypeNeedsNoPlainWords) {
    down_file_para offer = PlainFile("a b", "$(touch /tmp/pwned)");
    offer.type = 5;
    WriteFile("/media/mmcblk0p1/update.xml", "");
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local file"), 0);
    EXPECT_THAT(ListFolder("/media/mmcblk0p1"), IsEmpty());
    EXPECT_NE(access("/tmp/pwned", F_OK), 0);
}

TEST(Install, AnIgnoredTypeGivesTheResultOfTheEarlierDeletions) {
    down_file_para offer{};
    offer.type = 5;
    WriteFile("/tmp/local", "content");
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local"), -1);
    WriteFile("/media/mmcblk0p1/update.vpk", "");
    WriteFile("/media/mmcblk0p1/update.xml", "");
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local"), 0);
    EXPECT_THAT(ListFolder("/media/mmcblk0p1"), IsEmpty());
    EXPECT_EQ(ReadFile("/tmp/local"), "content");
}

}  // namespace
}  // namespace corvenna::test
