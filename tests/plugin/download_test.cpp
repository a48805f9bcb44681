#include "plugin/download.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <string>

#include "plugin/plugin.h"
#include "tests/plugin/gateway.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;

constexpr char kCard[] = "/media/mmcblk0p1";
constexpr char kList[] = "/cloud/downfile/GW4567";

/// What a download thread does, run on the test's own thread.
void RunDownload() {
    ASSERT_EQ(pthread_mutex_lock(&down_file_mutex), 0);
    EXPECT_EQ(DownFile(nullptr), nullptr);
    ASSERT_EQ(pthread_mutex_trylock(&down_file_mutex), 0) << "the mutex must be free again";
    pthread_mutex_unlock(&down_file_mutex);
}

/// The statuses that were reported, as "md5 status", in order.
std::vector<std::string> Statuses(const ScriptedServer &server) {
    std::vector<std::string> statuses;
    for (const Request &request : server.Requests()) {
        if (request.method == "PUT") {
            const std::string key = R"("md5":")";
            const std::size_t md5 = request.body.find(key) + key.size();
            const std::size_t end = request.body.find("\",\"status\":\"");
            statuses.push_back(request.body.substr(md5, end - md5) + " " +
                               request.body.substr(end + 12, 1));
        }
    }
    return statuses;
}

/// A path without its percent signs.
std::string Decoded(const std::string &path) {
    std::string text;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (path[i] == '%') {
            text += static_cast<char>(std::stoi(path.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            text += path[i];
        }
    }
    return text;
}

/// A server that offers files and serves them by path.
class DownloadTest : public testing::TestWithParam<Wire> {
protected:
    DownloadTest() : DownloadTest(Wire{}) {}
    explicit DownloadTest(const Wire &wire) : wire_(wire), server_(wire.protocol) {
        Configure(server_, wire);
        server_.Otherwise([this](const Request &request) { return AnswerTo(request); });
    }

    Answer AnswerTo(const Request &request) const {
        if (request.method == "GET" && request.path == kList) {
            return Reply(200, OfferList(offers_, wire_.format));
        }
        const std::string asked = Decoded(request.path);
        for (const auto &[path, content] : files_) {
            if (request.method == "GET" && asked == "/cloud/" + path) {
                return ReplyFile(content);
            }
        }
        return Reply(request.method == "PUT" ? 200 : 404);
    }

    /// Offers a file with its right digest. @return that digest.
    std::string OfferFile(const std::string &file, const std::string &content, int type = 5,
                          const std::string &path = "") {
        files_.emplace_back(file, content);
        offers_.push_back({file, Md5Of(content), type, path});
        return offers_.back().md5;
    }

    Wire wire_;
    std::vector<Offer> offers_;
    std::vector<std::pair<std::string, std::string>> files_;
    ScriptedServer server_;
    const LogCapture log_;
};

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

// ---- Updates, through the real tools ----

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

// ---- Hostile and ordinary offers ----

/// Everything that is in the folders a hostile offer could reach.
std::vector<std::string> Reachable() {
    std::vector<std::string> names;
    for (const char *folder : {"/", "/tmp", "/media", "/quorvane", kCard}) {
        for (const std::string &name : ListFolder(folder)) {
            names.push_back(folder + (": " + name));
        }
    }
    return names;
}

/// The text as it must stand inside a JSON string.
std::string Escaped(const std::string &text) {
    std::string escaped;
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            escaped += std::string("\\") + character;
        } else if (character == '\n') {
            escaped += "\\n";
        } else if (character == '\t') {
            escaped += "\\t";
        } else {
            escaped += character;
        }
    }
    return escaped;
}

/// Texts that the shell would not take as one plain word.
std::vector<std::string> HostileWords() {
    return {"",
            "a b",
            "a\tb",
            "a'b",
            "a\\\"b",
            "$(touch /tmp/pwned)",
            "a$(touch${IFS}/tmp/pwned)",
            "`touch${IFS}/tmp/pwned`",
            "a;touch${IFS}/tmp/pwned",
            "a|touch${IFS}/tmp/pwned",
            "a&touch${IFS}/tmp/pwned",
            "a\ntouch /tmp/pwned",
            "a>pwned",
            "a<pwned",
            "a#b",
            "a\\b",
            "*",
            "a?",
            "[a]",
            "{a,b}",
            "~root",
            "-rf",
            "!a",
            "(a)"};
}

void ExpectRefused(const ScriptedServer &server, const LogCapture &log, const Offer &offer) {
    const std::vector<Request> requests = server.Requests();
    const std::string md5 = Escaped(offer.md5).substr(0, 63);
    ASSERT_GE(requests.size(), 5U);
    EXPECT_EQ(requests[1].body, StatusBody(md5, 1));
    EXPECT_EQ(requests[3].body, StatusBody(md5, 0));
    int errors = 0;
    for (const LogEntry &entry : log.Text()) {
        errors += entry.level == 5 ? 1 : 0;
    }
    EXPECT_EQ(errors, 1);
}

class HostileOffer : public testing::Test {
protected:
    /// Serves the offer and a good file behind it; the first must be refused, the second served.
    static void ExpectRefusal(const Offer &offer) {
        SCOPED_TRACE("md5 '" + offer.md5 + "' file '" + offer.file + "' path '" + offer.path + "'");
        const std::string good = "served all the same";
        Offer raw = offer;
        raw.md5 = Escaped(offer.md5);
        raw.file = Escaped(offer.file);
        raw.path = Escaped(offer.path);
        ScriptedServer server;
        Configure(server);
        server.Otherwise([&](const Request &request) {
            if (request.path == kList && request.method == "GET") {
                return Reply(200, OfferList({raw, {"good", Md5Of(good), 9, "/tmp/x"}}));
            }
            return request.method == "GET" ? ReplyFile(good) : Reply(200);
        });
        const std::vector<std::string> before = Reachable();
        const LogCapture log;
        RunDownload();
        EXPECT_THAT(Reachable(), ElementsAreArray(before));
        ExpectRefused(server, log, offer);
        EXPECT_EQ(Lines(server.Requests())[4], "GET /cloud/good");
        EXPECT_EQ(server.Requests().back().body, StatusBody(Md5Of(good), 2));
        EXPECT_EQ(ReadFile("/tmp/x/good"), good);
    }

    void SetUp() override { WriteFile("/tmp/x/good", ""); }
};

TEST_F(HostileOffer, DigestsThatAreNoPlainWordAreRefusedForEveryType) {
    int type = 0;
    for (const std::string &word : HostileWords()) {
        ExpectRefusal({"file.bin", word, type, "/tmp/x"});
        type = type == 0 ? 1 : type == 1 ? 9 : type == 9 ? 5 : 0;
    }
}

TEST_F(HostileOffer, DigestsThatAreNoFileNameOnTheCardAreRefused) {
    WriteFile("/tmp/victim", "precious");
    for (const char *md5 : {".", "..", "/", "../../tmp/victim", "/tmp/victim", "a/b", "sub/"}) {
        ExpectRefusal({"file.bin", md5, 0, ""});
    }
    EXPECT_EQ(ReadFile("/tmp/victim"), "precious");
}

TEST_F(HostileOffer, NamesOfPlainFilesMustBePlainWords) {
    for (const std::string &word : HostileWords()) {
        ExpectRefusal({word, std::string(32, 'a'), 9, "/tmp/x"});
    }
    ExpectRefusal({"folder/", std::string(32, 'a'), 9, "/tmp/x"});
    ExpectRefusal({"a b/c.bin", std::string(32, 'a'), 9, "/tmp/x"});
}

TEST_F(HostileOffer, FoldersOfPlainFilesMustBePlainWords) {
    for (const std::string &word : HostileWords()) {
        ExpectRefusal({"c.bin", std::string(32, 'a'), 9, word});
    }
}

TEST_F(HostileOffer, LongHostileTextsAreRefused) {
    const std::string longText = std::string(510, 'a') + ";";
    ExpectRefusal({longText, std::string(32, 'a'), 9, "/tmp/x"});
    ExpectRefusal({"c.bin", std::string(32, 'a'), 9, longText});
}

TEST_F(HostileOffer, ADirectInstallOfHostileWordsRunsAndDeletesNothing) {
    WriteFile("/media/mmcblk0p1/update.vpk", "kept");
    WriteFile("/tmp/local", "kept");
    down_file_para offer{};
    offer.type = 9;
    std::snprintf(offer.file, sizeof offer.file, "c.bin");
    std::snprintf(offer.path, sizeof offer.path, "/tmp/x;touch /tmp/pwned");
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local"), -1);
    EXPECT_EQ(ReadFile("/tmp/local"), "kept");
    EXPECT_EQ(ReadFile("/media/mmcblk0p1/update.vpk"), "kept");
    EXPECT_NE(access("/tmp/pwned", F_OK), 0);
}

TEST_F(HostileOffer, NoDigestIsMadeOfAHostileName) {
    WriteFile("/tmp/local", "x");
    char digest[33] = "before";
    EXPECT_EQ(getfilemd5("/tmp/local;touch /tmp/pwned", digest), digest);
    EXPECT_STREQ(digest, "");
    EXPECT_NE(access("/tmp/pwned", F_OK), 0);
}

TEST_F(HostileOffer, HostileWordsAreRefusedInXmlToo) {
    ScriptedServer server;
    Configure(server, {"xml", Protocol::kHttp, false});
    const std::string good = "served all the same";
    const std::string hostile = "a&#10;touch&#x20;/tmp/pwned";
    server.Otherwise([&](const Request &request) {
        if (request.path == kList && request.method == "GET") {
            return Reply(200, OfferList({{"a", hostile, 0, ""},
                                         {hostile, std::string(32, 'a'), 9, "/tmp/x"},
                                         {"a", std::string(32, 'b'), 9, hostile},
                                         {"good", Md5Of(good), 9, "/tmp/x"}},
                                        "xml"));
        }
        return request.method == "GET" ? ReplyFile(good) : Reply(200);
    });
    RunDownload();
    const std::vector<Request> requests = server.Requests();
    ASSERT_EQ(requests.size(), 1U + 4 + 3 + 2);
    EXPECT_EQ(requests[6].body, StatusBody(std::string(32, 'a'), 0, "xml"));
    EXPECT_EQ(requests[7].body, StatusBody(std::string(32, 'b'), 0, "xml"));
    EXPECT_EQ(ReadFile("/tmp/x/good"), good);
    EXPECT_NE(access("/tmp/pwned", F_OK), 0);
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

// ---- Faults ----

struct Death {
    const char *name;
    Answer (*answer)();
};

const Death kDeaths[] = {
    {"AtAccept", [] { return CloseAt(Stage::kAccept); }},
    {"AtHead", [] { return CloseAt(Stage::kHead); }},
    {"AtRequest", [] { return CloseAt(Stage::kRequest); }},
    {"Reset", [] { return ResetAt(Stage::kRequest); }},
    {"InHead", [] { return ResetAt(Stage::kRequest, "HTTP/1.1 200 OK\r\nContent-Le"); }},
    {"InBody", [] { return ReplyTruncated(200, 1000, R"({"node":[{"fi)"); }},
};

class ServerDies : public DownloadTest {
protected:
    /// Three files; the server fails the request of that number in the way given.
    void DieAt(std::size_t step, const Death &death) {
        SCOPED_TRACE(std::string(death.name) + " at request " + std::to_string(step));
        ScriptedServer server;
        Configure(server);
        std::atomic<std::size_t> count{0};  // each connection has a thread of its own
        const std::string content = "content";
        const std::string list = OfferList({{"a", Md5Of(content), 5, ""}});
        server.Otherwise([&](const Request &request) {
            if (count++ == step) {
                return death.answer();
            }
            if (request.path == kList && request.method == "GET") {
                return Reply(200, list);
            }
            return request.method == "GET" ? ReplyFile(content) : Reply(200);
        });
        RunDownload();
        EXPECT_THAT(ListFolder(kCard), IsEmpty());
        const std::vector<std::string> statuses = Statuses(server);
        if (step == 0) {
            EXPECT_THAT(statuses, IsEmpty());
        } else {
            EXPECT_EQ(statuses.back(), Md5Of(content) + (step == 2 ? " 0" : " 2"));
        }
    }
};

TEST_F(ServerDies, AtEveryStageOfADownloadTheThreadEndsInOrder) {
    for (std::size_t step = 0; step < 4; ++step) {
        for (const Death &death : {kDeaths[2], kDeaths[3], kDeaths[4], kDeaths[5]}) {
            DieAt(step, death);
        }
    }
}

TEST_F(ServerDies, BeforeTheListIsAskedFor) {
    for (const Death &death : kDeaths) {
        server_.Next(death.answer());
        RunDownload();
    }
    EXPECT_THAT(Statuses(server_), IsEmpty());
}

TEST_F(ServerDies, ForGoodAfterTheList) {
    auto server = std::make_unique<ScriptedServer>();
    Configure(*server);
    server->Next(Reply(200, OfferList({{"a", std::string(32, 'a'), 0, ""}})));
    server->Next(CloseAt(Stage::kAccept));
    server->Next(CloseAt(Stage::kAccept));
    server->Next(CloseAt(Stage::kAccept));
    server->Next(CloseAt(Stage::kAccept));
    RunDownload();
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(DownloadTest, AFullCardIsAMismatch) {
    if (!OwnMounts()) {
        GTEST_SKIP() << "no mount namespace of its own";
    }
    ASSERT_TRUE(MountSmall(kCard, 65536));
    const std::string big = OfferFile("big", std::string(1000000, 'b'), 0);
    const std::string small = OfferFile("small", "fits", 5);
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(big + " 1", small + " 1", big + " 0", small + " 2"));
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

TEST_F(UpdateTest, APackageThatFillsTheCardEndsTheThreadAllTheSame) {
    ASSERT_TRUE(MountSmall(kCard, 65536));
    const std::string md5 = OfferFile("package.zip", MakePackage(std::string(1000000, 'v')), 0);
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 2"));
}

TEST_F(DownloadTest, AReadOnlyCardIsAMismatch) {
    if (!OwnMounts()) {
        GTEST_SKIP() << "no mount namespace of its own";
    }
    ASSERT_TRUE(MountReadOnly(kCard));
    const std::string md5 = OfferFile("a", "content", 9, "/tmp");
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 0"));
}

TEST_F(DownloadTest, AMissingCardIsAMismatch) {
    ASSERT_EQ(rmdir(kCard), 0);
    const std::string md5 = OfferFile("a", "content", 9, "/tmp");
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 0"));
    ASSERT_EQ(mkdir(kCard, 0755), 0);
}

TEST_F(DownloadTest, AFolderInTheDownloadsPlaceIsAMismatch) {
    const std::string md5 = OfferFile("a", "content", 9, "/tmp");
    ASSERT_EQ(mkdir((kCard + ("/" + md5)).c_str(), 0755), 0);
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 0"));
}

/// A PATH with all tools but some.
void HideTools(const std::vector<std::string> &hidden) {
    RunCommand("mkdir /tmp/bin");
    for (const std::string tool :
         {"md5sum", "unzip", "zip", "awk", "sed", "ls", "mv", "cp", "touch"}) {
        if (std::find(hidden.begin(), hidden.end(), tool) == hidden.end()) {
            RunCommand("ln -s $(command -v " + tool + ") /tmp/bin/");
        }
    }
    ASSERT_EQ(setenv("PATH", "/tmp/bin", 1), 0);
}

TEST_F(DownloadTest, WithoutMd5sumNoFileIsGood) {
    const std::string md5 = OfferFile("a", "content", 9, "/tmp");
    HideTools({"md5sum"});
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 0"));
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
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

// ---- The operations by themselves ----

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

TEST(Install, AnIgnoredTypeNeedsNoPlainWords) {
    down_file_para offer = PlainFile("a b", "$(touch /tmp/pwned)");
    offer.type = 5;
    WriteFile("/media/mmcblk0p1/update.xml", "");
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local file"), 0);
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
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
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
    EXPECT_EQ(ReadFile("/tmp/local"), "content");
}

}  // namespace
}  // namespace corvenna::test
