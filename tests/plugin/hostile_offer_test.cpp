// Offers that would make words of a command mean something else.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/plugin/downloads.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using testing::ElementsAreArray;

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

TEST_F(HostileOffer, ADirectInstallOfAHostileLocalNameRunsAndDeletesNothing) {
    WriteFile("/media/mmcblk0p1/update.vpk", "kept");
    down_file_para offer{};
    offer.type = 9;
    std::snprintf(offer.file, sizeof offer.file, "c.bin");
    std::snprintf(offer.path, sizeof offer.path, "/tmp/x");
    EXPECT_EQ(DealDownFile(&offer, "/tmp/local;touch /tmp/pwned"), -1);
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

}  // namespace
}  // namespace corvenna::test
