// Servers that die, cards that fail and tools that are missing during a download.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>

#include "tests/plugin/downloads.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(DownloadTest, WithoutMd5sumNoFileIsGood) {
    const std::string md5 = OfferFile("a", "content", 9, "/tmp");
    HideTools({"md5sum"});
    RunDownload();
    EXPECT_THAT(Statuses(server_), ElementsAre(md5 + " 1", md5 + " 0"));
    EXPECT_THAT(ListFolder(kCard), IsEmpty());
}

}  // namespace
}  // namespace corvenna::test
