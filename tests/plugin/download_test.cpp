#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tests/plugin/downloads.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class DownloadOverWires : public DownloadTest {
protected:
    DownloadOverWires() : DownloadTest(GetParam()) {}
};

TEST_P(DownloadOverWires, AllFilesAreAnnouncedBeforeTheFirstDownload) {
    const std::string a = OfferFile("a.bin", "content a");
    const std::string b = OfferFile("folder/b.bin", "content b");
    const std::string c = OfferFile("c.bin", "content c");
    RunDownload();
    const std::vector<Request> requests = server_.Requests();
    ASSERT_THAT(
        Lines(requests),
        ElementsAre(std::string("GET ") + kList, std::string("PUT ") + kList,
                    std::string("PUT ") + kList, std::string("PUT ") + kList, "GET /cloud/a.bin",
                    std::string("PUT ") + kList, "GET /cloud/folder/b.bin",
                    std::string("PUT ") + kList, "GET /cloud/c.bin", std::string("PUT ") + kList));
    const std::string &format = GetParam().format;
    EXPECT_EQ(requests[1].body, StatusBody(a, 1, format));
    EXPECT_EQ(requests[2].body, StatusBody(b, 1, format));
    EXPECT_EQ(requests[3].body, StatusBody(c, 1, format));
    EXPECT_EQ(requests[5].body, StatusBody(a, 2, format));
    EXPECT_EQ(requests[7].body, StatusBody(b, 2, format));
    EXPECT_EQ(requests[9].body, StatusBody(c, 2, format));
    EXPECT_EQ(requests[1].Header("Content-Type"), "application/" + format + ";charset=UTF-8");
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_P(DownloadOverWires, MessagesOfAGoodAndABadFile) {
    OfferFile("good.bin", "good");
    OfferFile("bad.bin", "bad");
    offers_[1].md5 = std::string(32, '0');
    RunDownload();
    std::vector<std::string> own;
    for (const LogEntry &entry : log_.Text()) {
        if (entry.text.find("heck down file") != std::string::npos ||
            entry.text.find("compare") == 0 || entry.text.find("start down file from") == 0 ||
            entry.text.find("down file from") == 0 || entry.text.find("downfile") == 0) {
            EXPECT_EQ(entry.level, 3) << entry.text;
            own.push_back(entry.text);
        }
    }
    const std::string good = server_.Url("/cloud/good.bin");
    const std::string bad = server_.Url("/cloud/bad.bin");
    EXPECT_THAT(own, ElementsAre("start Check down file from " + server_.Url(kList),
                                 "Check down file from " + server_.Url(kList) + " finish",
                                 "start down file from " + good,
                                 "down file from " + good + " finish", "compare down file md5 ok",
                                 "start down file from " + bad, "down file from " + bad + " finish",
                                 "compare down file md5 error,", "downfile thread exit"));
    EXPECT_EQ(log_.Text().back(), (LogEntry{3, "downfile thread exit"}));
}

INSTANTIATE_TEST_SUITE_P(Wires, DownloadOverWires, testing::ValuesIn(AllWires()),
                         [](const auto &row) { return NameOf(row.param); });

TEST_F(DownloadTest, AnUpperCaseDigestNeverMatches) {
    OfferFile("a.bin", "content");
    for (char &digit : offers_[0].md5) {
        digit = static_cast<char>(toupper(digit));
    }
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(offers_[0].md5 + " 1", offers_[0].md5 + " 0"));
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(DownloadTest, OtherTypesAreVerifiedReportedAndDeletedWithoutACommand) {
    for (const int type : {-1, 2, 5, 8, 10}) {
        OfferFile("f" + std::to_string(type), "content" + std::to_string(type), type, "/tmp/x");
    }
    RunDownload();
    const std::vector<std::string> statuses = Statuses(server_);
    ASSERT_EQ(statuses.size(), 10U);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(statuses[5 + i], offers_[i].md5 + " 2");
    }
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
    EXPECT_THAT(ListFolder("/tmp/x"), IsEmpty());
}

TEST_F(DownloadTest, TwoFilesWithOneDigestAreServedInTurn) {
    ASSERT_EQ(mkdir("/tmp/x", 0755), 0);
    const std::string md5 = OfferFile("one", "same", 9, "/tmp/x");
    OfferFile("two", "same", 9, "/tmp/x");
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 1", md5 + " 2", md5 + " 2"));
    EXPECT_EQ(ReadFile("/tmp/x/one"), "same");
    EXPECT_EQ(ReadFile("/tmp/x/two"), "same");
    EXPECT_FALSE(server_.Requests()[5].HasHeader("Range")) << "nothing may be left to resume";
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(DownloadTest, WhatAnEarlierDownloadLeftIsNotResumed) {
    const std::string md5 = OfferFile("a.bin", "content");
    WriteFile(kCard + ("/" + md5), "cont");
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
}

TEST_F(DownloadTest, APlainFileIsCopiedUnderItsLastName) {
    ASSERT_EQ(mkdir("/tmp/x", 0755), 0);
    const std::string md5 = OfferFile("a/b/c.bin", std::string("bin\0ary", 7), 9, "/tmp/x");
    RunDownload();
    EXPECT_EQ(ReadFile("/tmp/x/c.bin"), std::string("bin\0ary", 7));
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(DownloadTest, AFailingCommandIsReportedAsDone) {
    const std::string md5 = OfferFile("c.bin", "content", 9, "/tmp/missing/folder");
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
}

TEST_F(DownloadTest, AnEmptyFileHasADigestToo) {
    ASSERT_EQ(mkdir("/tmp/x", 0755), 0);
    const std::string md5 = OfferFile("empty", "", 9, "/tmp/x");
    EXPECT_EQ(md5, "d41d8cd98f00b204e9800998ecf8427e");
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
    EXPECT_EQ(ReadFile("/tmp/x/empty"), "");
}

TEST_F(DownloadTest, AnErrorPageDoesNotPassForTheFile) {
    const std::string md5 = OfferFile("a.bin", "content", 9, "/tmp");
    server_.Next(Reply(200, OfferList(offers_)));
    server_.Next(Reply(200));
    server_.Next(Reply(404, "not here"));
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 0"));
    EXPECT_THAT(ListFolder("/tmp"), Not(Contains("a.bin")));
}

TEST_F(DownloadTest, StatusAnswersAreNotLookedAt) {
    const std::string md5 = OfferFile("a.bin", "content");
    server_.Next(Reply(200, OfferList(offers_)));
    server_.Next(Reply(500));
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
}

TEST_F(DownloadTest, AnEmptyOrUnusableListEndsTheThread) {
    for (const char *list : {"", "nonsense", "[]", "{}", R"({"node":[]})", R"({"node":{}})",
                             R"({"node":[{"file":1}]})"}) {
        server_.Next(Reply(200, list));
        RunDownload();
    }
    EXPECT_EQ(server_.Requests().size(), 7U);
    EXPECT_EQ(log_.Text().back(), (LogEntry{3, "downfile thread exit"}));
}

TEST_F(DownloadTest, AListInTwoWholeBlocksIsServedWhole) {
    OfferFile("a", "content a");
    OfferFile("b", "content b");
    server_.Next(ReplyChunked(200, {OfferList({offers_[0]}), OfferList({offers_[1]})}));
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(offers_[0].md5 + " 1", offers_[1].md5 + " 1",
                                               offers_[0].md5 + " 2", offers_[1].md5 + " 2"));
}

TEST_F(DownloadTest, ARefusedListWithABodyIsServedAllTheSame) {
    const std::string md5 = OfferFile("a", "content a");
    server_.Next(Reply(500, OfferList(offers_)));
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
}

TEST_F(DownloadTest, AnUnknownFormatReportsNothing) {
    Configure(server_, {"csv", Protocol::kHttp, false});
    OfferFile("a", "content a");
    RunDownload();
    EXPECT_EQ(server_.Requests().size(), 1U);
    EXPECT_EQ(PutFile("0123", 1), -1);
    EXPECT_EQ(server_.Requests().size(), 1U);
}

TEST_F(DownloadTest, StatusReportsLogNothingOfTheirOwnAndGiveTheTransportsResult) {
    EXPECT_EQ(PutFile("0123", 2), 0);
    EXPECT_THAT(log_.Text(), IsEmpty());
    EXPECT_EQ(server_.Requests()[0].body, StatusBody("0123", 2));
    server_.Next(Reply(500));
    EXPECT_EQ(PutFile("0123", 2), -1);
}

TEST(CompressedStatus, IsDeflated) {
    ScriptedServer server;
    Configure(server, {"xml", Protocol::kHttp, true});
    EXPECT_EQ(PutFile("0123", 0), 0);
    EXPECT_EQ(server.Requests()[0].Header("Content-Encoding"), "deflate");
    EXPECT_EQ(Inflated(server.Requests()[0].body), StatusBody("0123", 0, "xml"));
}

TEST_F(DownloadTest, ADigestOf511CharactersIsCutAndAMismatch) {
    const std::string digest(511, 'a');
    offers_.push_back({"a.bin", digest, 9, "/tmp"});
    files_.emplace_back("a.bin", "content");
    RunDownload();
    EXPECT_THAT(Statuses(server_),
                ElementsAre(digest.substr(0, 63) + " 1", digest.substr(0, 63) + " 0"));
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(DownloadTest, ANameWithLineEndsAddsNoLinesToTheRequest) {
    const std::string md5 = OfferFile("a.bin", "content");
    offers_[0].file = R"(a.bin HTTP/1.1\r\nInjected: 1\r\n)";
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 0"));
    for (const Request &request : server_.Requests()) {
        EXPECT_FALSE(request.HasHeader("Injected"));
    }
}

TEST_F(DownloadTest, OrdinaryTextsAreServed) {
    const std::string nonAscii = "größe-文件.bin";
    ASSERT_EQ(mkdir("/tmp/x", 0755), 0);
    ASSERT_EQ(mkdir("/tmp/x/größe", 0755), 0);
    OfferFile("deep/er/v1.2.3-rc_1.tar.gz", "one", 9, "/tmp/x");
    OfferFile("a+b,c:d=e@f.bin", "two", 9, "/tmp/x/../x/");
    OfferFile("three.bin", "three", 9, "/tmp/x/größe");
    files_.emplace_back(nonAscii, "four");
    offers_.push_back({nonAscii, Md5Of("four"), 9, "/tmp/x"});
    OfferFile("with?query=1", "five", 5);
    RunDownload();
    EXPECT_EQ(ReadFile("/tmp/x/v1.2.3-rc_1.tar.gz"), "one");
    EXPECT_EQ(ReadFile("/tmp/x/a+b,c:d=e@f.bin"), "two");
    EXPECT_EQ(ReadFile("/tmp/x/größe/three.bin"), "three");
    EXPECT_EQ(ReadFile("/tmp/x/" + nonAscii), "four");
    for (std::size_t i = 0; i < offers_.size(); ++i) {
        EXPECT_EQ(Statuses(server_)[offers_.size() + i], offers_[i].md5 + " 2");
    }
}

TEST_F(DownloadTest, ADigestThatIsAnOrdinaryWordButNoDigestIsAMismatch) {
    for (const char *md5 : {"a", "update.vpk", "-", "0.md5", "größe"}) {
        if (std::string(md5) != "-") {
            offers_.push_back({"a.bin", md5, 0, ""});
        }
    }
    files_.emplace_back("a.bin", "content");
    RunDownload();
    for (std::size_t i = 0; i < offers_.size(); ++i) {
        EXPECT_EQ(Statuses(server_)[offers_.size() + i], offers_[i].md5 + " 0");
    }
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(DownloadTest, TheLongestTextsThatFitAreServedWithinTheirLimits) {
    const std::string path = "/tmp/" + std::string(250, 'p') + "/" + std::string(250, 'q');
    RunCommand("mkdir -p " + path);
    // A file name of 511 characters fits the list; its URL is cut at 126.
    const std::string folders(300, 'd');
    const std::string file = folders + "/" + std::string(511 - 301, 'n');
    const std::string prefix = server_.Url("/cloud/");
    files_.emplace_back(file.substr(0, 126 - prefix.size()), "long");
    offers_.push_back({file, Md5Of("long"), 9, path});
    RunDownload();
    EXPECT_EQ(ReadFile(path + "/" + std::string(511 - 301, 'n')), "long");
}

}  // namespace
}  // namespace corvenna::test
