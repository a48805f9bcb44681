#include "plugin/install_command.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>

#include "base/file_descriptor.h"
#include "base/text.h"
#include "base/undisturbed.h"
#include "message/records.h"
#include "tests/support/files.h"

namespace {

bool gCopiesFail = false;

}  // namespace

extern "C" {
int __real_dup2(int from, int to);
int __wrap_dup2(int from, int to);
int __wrap_dup2(int from, int to) {
    return gCopiesFail ? -1 : __real_dup2(from, to);
}
}

namespace corvenna::test {
namespace {

down_file_para OfferOf(int type, const std::string &file = "", const std::string &path = "") {
    down_file_para offer{};
    offer.type = type;
    CopyText<512>(offer.file, file.c_str());
    CopyText<512>(offer.path, path.c_str());
    return offer;
}

TEST(PlainWord, OrdinaryNamesArePlain) {
    for (const std::string word : {"a",
                                   "0",
                                   "d41d8cd98f00b204e9800998ecf8427e",
                                   "D41D8CD98F00B204E9800998ECF8427E",
                                   "a/b/c.bin",
                                   "/opt/x",
                                   "firmware-1.2_3.bin",
                                   "a,b+c:d=e@f%20",
                                   "../up",
                                   "a~",
                                   "a:~b",
                                   "X=~/x",
                                   "a!b",
                                   "!",
                                   "a^b",
                                   "^",
                                   ".",
                                   "..",
                                   "größe.bin",
                                   "文件",
                                   "a-",
                                   "\xFF\x80"}) {
        EXPECT_TRUE(IsPlainWord(word.c_str())) << word;
    }
    EXPECT_TRUE(IsPlainWord(std::string(511, 'a').c_str()));
}

TEST(PlainWord, EmptyTextIsNone) {
    EXPECT_FALSE(IsPlainWord(""));
}

TEST(PlainWord, ALeadingTildeIsAHome) {
    EXPECT_FALSE(IsPlainWord("~"));
    EXPECT_FALSE(IsPlainWord("~root/x"));
}

TEST(PlainWord, TheShellTakesAsItStands) {
    for (const std::string word : {"a~", "a:~root", "X=~root", "a!b", "!a", "!!", "a^b", "^a^b^",
                                   "a,b+c:d=e@f%20", "%1", "=a", "größe"}) {
        ASSERT_TRUE(IsPlainWord(word.c_str())) << word;
        ASSERT_TRUE(RunInShell(("printf %s " + word + " > /tmp/out").c_str()));
        EXPECT_EQ(ReadFile("/tmp/out"), word);
    }
}

TEST(PlainWord, LeadingDashIsAnOptionAndNoWord) {
    EXPECT_FALSE(IsPlainWord("-"));
    EXPECT_FALSE(IsPlainWord("-rf"));
}

TEST(PlainWord, EveryOtherAsciiCharacterSpoilsAWordWhereverItStands) {
    const std::string plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+,:=@%~^!";
    for (int code = 1; code < 128; ++code) {
        const std::string character(1, static_cast<char>(code));
        const bool expected = plain.find(character) != std::string::npos;
        EXPECT_EQ(IsPlainWord(("a" + character + "b").c_str()), expected) << code;
        EXPECT_EQ(IsPlainWord(("ab" + character).c_str()), expected) << code;
        EXPECT_EQ(IsPlainWord((character + "ab").c_str()), expected && code != '-' && code != '~')
            << code;
    }
}

TEST(InstallWords, OnlyAPlainFileHasAny) {
    for (const int type : {0, 1, 5, -1, 8, 10}) {
        EXPECT_TRUE(AreInstallWordsPlain(OfferOf(type, "$(reboot)", "`reboot`"))) << type;
    }
    EXPECT_FALSE(AreInstallWordsPlain(OfferOf(9, "$(reboot)", "/opt/x")));
    EXPECT_FALSE(AreInstallWordsPlain(OfferOf(9, "a.bin", "`reboot`")));
    EXPECT_TRUE(AreInstallWordsPlain(OfferOf(9, "a/b/c.bin", "/opt/x")));
}

TEST(InstallWords, APlainFileNeedsANameAndAFolder) {
    EXPECT_FALSE(AreInstallWordsPlain(OfferOf(9, "", "/opt/x")));
    EXPECT_FALSE(AreInstallWordsPlain(OfferOf(9, "a/b/", "/opt/x")));
    EXPECT_FALSE(AreInstallWordsPlain(OfferOf(9, "a.bin", "")));
}

TEST(InstallCommand, DigestGoesIntoAFile) {
    EXPECT_STREQ(DigestCommand("/media/mmcblk0p1/x", "/media/mmcblk0p1/x.md5").text,
                 "md5sum /media/mmcblk0p1/x > /media/mmcblk0p1/x.md5");
}

TEST(InstallCommand, DigestIsCutAt511Characters) {
    const std::string file(400, 'f');
    EXPECT_EQ(DigestCommand(file.c_str(), file.c_str()).text,
              ("md5sum " + file + " > " + file).substr(0, 511));
}

TEST(InstallCommand, UpdatePackage) {
    EXPECT_STREQ(
        InstallCommand(OfferOf(0), "/media/mmcblk0p1/x")->text,
        R"(cd /media/mmcblk0p1 &&unzip /media/mmcblk0p1/x&& let s=`ls -l update.vpk|awk '{print $5}'`&&sed -i "/filesize/{s/size=\"[0-9]*\"/size=\"$s\"/}" update.xml&& mv update.vpk /tmp/uploads && mv update.xml /tmp/uploads)");
}

TEST(InstallCommand, ConfigurationFile) {
    EXPECT_STREQ(
        InstallCommand(OfferOf(1), "/media/mmcblk0p1/x")->text,
        R"(cd /media/mmcblk0p1&&mv /media/mmcblk0p1/x config.conf&&zip -j update.vpk config.conf&& let s=`ls -l update.vpk|awk '{print $5}'`&&echo -e "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<updateConfig Ver=\"1.00\">\r\n<Protocol Name=\"updateConfig\" />\r\n<filesize size=\"$s\" />\r\n<file fileName=\"config.conf\" sendFilePath=\"/quorvane/Config\" filetype=\"conf\"/>\r\n</upDateConfig>">update.xml&& mv update.vpk /tmp/uploads && mv update.xml /tmp/uploads)");
}

TEST(InstallCommand, PlainFileKeepsTheLastPartOfItsName) {
    EXPECT_STREQ(InstallCommand(OfferOf(9, "a/b/c.bin", "/opt/x"), "/media/mmcblk0p1/x")->text,
                 "cp -rf /media/mmcblk0p1/x /opt/x/c.bin");
    EXPECT_STREQ(InstallCommand(OfferOf(9, "c.bin", "/opt/x"), "/media/mmcblk0p1/x")->text,
                 "cp -rf /media/mmcblk0p1/x /opt/x/c.bin");
}

TEST(InstallCommand, LongestPlainFileIsNotCut) {
    const std::string name(511, 'n');
    const std::string path(511, 'p');
    const std::string local(126, 'l');
    EXPECT_EQ(InstallCommand(OfferOf(9, name, path), local.c_str())->text,
              "cp -rf " + local + " " + path + "/" + name);
}

TEST(InstallCommand, OtherTypesHaveNone) {
    for (const int type : {-1, 2, 5, 8, 10, 255, 256}) {
        EXPECT_FALSE(InstallCommand(OfferOf(type, "a", "b"), "/x").has_value()) << type;
    }
}

TEST(Shell, RunsTheCommandToItsEnd) {
    EXPECT_TRUE(RunInShell("echo one > /tmp/out; echo two >> /tmp/out"));
    EXPECT_EQ(ReadFile("/tmp/out"), "one\ntwo\n");
}

TEST(Shell, AFailingCommandIsNotLookedAt) {
    EXPECT_TRUE(RunInShell("exit 3"));
}

TEST(Shell, CommandsGetTheSignalsOfWritesAsAnyProgram) {
    const Undisturbed whole;
    EXPECT_TRUE(RunInShell("kill -PIPE $$; echo survived > /tmp/out"));
    EXPECT_NE(access("/tmp/out", F_OK), 0);
    EXPECT_TRUE(RunInShell("kill -XFSZ $$; echo survived > /tmp/out"));
    EXPECT_NE(access("/tmp/out", F_OK), 0);
}

TEST(Shell, CommandsFindTheEndOfTheirInputAndNotTheHosts) {
    WriteFile("/tmp/in", "a line\n");
    const FileDescriptor input(open("/tmp/in", O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(dup2(input.Get(), STDIN_FILENO), STDIN_FILENO);
    EXPECT_TRUE(RunInShell("if read -r line; then echo asked; else echo ended; fi > /tmp/out"));
    EXPECT_EQ(ReadFile("/tmp/out"), "ended\n");
}

TEST(Shell, CommandsOfAHostWithoutAnInputFindOneAllTheSame) {
    ASSERT_EQ(close(STDIN_FILENO), 0);
    EXPECT_TRUE(RunInShell("readlink /proc/self/fd/0 > /tmp/out"));
    EXPECT_EQ(ReadFile("/tmp/out"), "/dev/null\n");
}

TEST(Shell, CommandsHaveNoInputWhereItCannotBeHandedOver) {
    gCopiesFail = true;
    EXPECT_TRUE(RunInShell("[ -e /proc/self/fd/0 ] || echo none > /tmp/out"));
    gCopiesFail = false;
    EXPECT_EQ(ReadFile("/tmp/out"), "none\n");
}

TEST(Shell, ThatCannotBeStartedIsOneThatFailed) {
    const std::string tooLong(200000, 'x');
    EXPECT_TRUE(RunInShell(("touch /tmp/out #" + tooLong).c_str()));
    EXPECT_NE(access("/tmp/out", F_OK), 0);
}

TEST(Shell, CommandsHaveNoInputWhenNoneCanBeOpened) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = 3;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_TRUE(RunInShell("ulimit -S -n 64; [ -e /proc/self/fd/0 ] || echo none > /tmp/out"));
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(ReadFile("/tmp/out"), "none\n");
}

}  // namespace
}  // namespace corvenna::test
