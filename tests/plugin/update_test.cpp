// Updates, through the real tools.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/plugin/downloads.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kDescription[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<updateConfig>\r\n<filesize size=\"0\" "
    "/>\r\n</updateConfig>\r\n";

/// An update package: update.vpk and update.xml in one archive.
std::string MakePackage(const std::string &vpk) {
    WriteFile("/tmp/make/update.vpk", vpk);
    WriteFile("/tmp/make/update.xml", kDescription);
    RunCommand("cd /tmp/make && zip -q package.zip update.vpk update.xml");
    std::string package = ReadFile("/tmp/make/package.zip");
    RunCommand("rm -r /tmp/make");
    return package;
}

class UpdateTest : public DownloadTest {
protected:
    void SetUp() override {
        if (!UseGatewayShell()) {
            GTEST_SKIP() << "no mount namespace of its own";
        }
        ASSERT_EQ(mkdir("/tmp/uploads", 0755), 0);
    }
};

TEST_F(UpdateTest, APackageGetsItsSizeIntoTheDescription) {
    const std::string vpk = std::string(1000, 'v') + std::string("\0\1\2", 3);
    const std::string md5 = OfferFile("fw/package.zip", MakePackage(vpk), 0);
    RunDownload();
    EXPECT_EQ(ReadFile("/tmp/uploads/update.vpk"), vpk);
    EXPECT_EQ(ReadFile("/tmp/uploads/update.xml"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<updateConfig>\r\n<filesize "
              "size=\"1003\" />\r\n</updateConfig>\r\n");
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(UpdateTest, AConfigurationFileIsPackedAndDescribed) {
    const std::string content = "key = value\n";
    const std::string md5 = OfferFile("conf/any.conf", content, 1);
    RunDownload();
    const std::string size = std::to_string(ReadFile("/tmp/uploads/update.vpk").size());
    EXPECT_EQ(ReadFile("/tmp/uploads/update.xml"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n"
              "<updateConfig Ver=\"1.00\">\r\n"
              "<Protocol Name=\"updateConfig\" />\r\n"
              "<filesize size=\"" +
                  size +
                  "\" />\r\n"
                  "<file fileName=\"config.conf\" sendFilePath=\"/quorvane/Config\" "
                  "filetype=\"conf\"/>\r\n"
                  "</upDateConfig>\n");
    RunCommand("mkdir /tmp/open && cd /tmp/open && unzip -q /tmp/uploads/update.vpk");
    EXPECT_THAT(ListFolder("/tmp/open"), ElementsAre("config.conf"));
    EXPECT_EQ(ReadFile("/tmp/open/config.conf"), content);
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
    EXPECT_THAT(ListFolder(kCard), ElementsAre("config.conf"));
}

TEST_F(UpdateTest, WhatAnEarlierUpdateLeftOnTheCardIsDeletedFirst) {
    WriteFile(kCard + std::string("/update.vpk"), "old");
    WriteFile(kCard + std::string("/update.xml"), "old");
    OfferFile("package.zip", MakePackage("new"), 0);
    RunDownload();
    EXPECT_EQ(ReadFile("/tmp/uploads/update.vpk"), "new");
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(UpdateTest, AFileInThePackagesWayDoesNotStopTheThread) {
    // unzip asks whether to replace it, and must not wait for an answer.
    WriteFile("/tmp/make/update.vpk", "vpk");
    WriteFile("/tmp/make/other", "from the archive");
    RunCommand("cd /tmp/make && zip -q package.zip other update.vpk && cp package.zip /tmp/p.zip");
    WriteFile(kCard + std::string("/other"), "was there");
    const std::string md5 = OfferFile("package.zip", ReadFile("/tmp/p.zip"), 0);
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
    EXPECT_EQ(ReadFile(kCard + std::string("/other")), "was there");
}

TEST_F(UpdateTest, ABrokenPackageLeavesNothingToInstallAndIsReportedAsDone) {
    const std::string md5 = OfferFile("package.zip", "this is no archive", 0);
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
    EXPECT_THAT(ListFolder("/tmp/uploads"), IsEmpty());
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(UpdateTest, AnArchiveThatPointsOutOfTheCardStaysOnIt) {
    WriteFile("/tmp/make/deep/update.vpk", "vpk");
    WriteFile("/tmp/make/escaped", "out");
    RunCommand("cd /tmp/make/deep && zip -q /tmp/p.zip ../escaped update.vpk && rm -r /tmp/make");
    OfferFile("package.zip", ReadFile("/tmp/p.zip"), 0);
    RunDownload();
    EXPECT_NE(access("/media/escaped", F_OK), 0);
}

TEST_F(DownloadTest, UnderAShellWithoutLetNothingReachesTheUploads) {
    char shell[4096];
    ASSERT_NE(realpath("/bin/sh", shell), nullptr);
    if (std::string(shell).find("dash") == std::string::npos) {
        GTEST_SKIP() << "/bin/sh is " << shell;
    }
    ASSERT_EQ(mkdir("/tmp/uploads", 0755), 0);
    OfferFile("package.zip", MakePackage("vpk"), 0);
    const std::string conf = OfferFile("any.conf", "key = value\n", 1);
    RunDownload();
    EXPECT_THAT(ListFolder("/tmp/uploads"), IsEmpty());
    EXPECT_EQ(Statuses(server_).back(), conf + " 2");
    // The configuration file's turn removed what the package had left.
    EXPECT_THAT(ListFolder(kCard), ElementsAre("config.conf", "update.vpk"));
}

TEST_F(UpdateTest, APackageThatFillsTheCardEndsTheThreadAllTheSame) {
    ASSERT_TRUE(MountSmall(kCard, 65536));
    const std::string md5 = OfferFile("package.zip", MakePackage(std::string(1000000, 'v')), 0);
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
}

TEST_F(UpdateTest, WithoutUnzipAPackageIsLostAndReportedAsDone) {
    const std::string md5 = OfferFile("package.zip", MakePackage("vpk"), 0);
    HideTools({"unzip"});
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
    EXPECT_THAT(ListFolder("/tmp/uploads"), IsEmpty());
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(UpdateTest, WithoutZipAConfigurationFileIsLostAndReportedAsDone) {
    const std::string md5 = OfferFile("any.conf", "key = value\n", 1);
    HideTools({"zip"});
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
    EXPECT_THAT(ListFolder("/tmp/uploads"), IsEmpty());
    EXPECT_THAT(ListFolder(kCard), ElementsAre("config.conf"));
}

}  // namespace
}  // namespace corvenna::test
