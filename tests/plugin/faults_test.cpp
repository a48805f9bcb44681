// Children and threads that cannot be made. In this program no call of vfork and pthread_create by
// the code under test succeeds.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "plugin/download.h"
#include "plugin/install_command.h"
#include "plugin/plugin.h"
#include "tests/plugin/gateway.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

extern "C" {

pid_t __wrap_vfork() {
    errno = EAGAIN;
    return -1;
}

int __wrap_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *) {
    return EAGAIN;
}
}

namespace corvenna::test {
namespace {

using testing::Contains;
using testing::ElementsAre;

TEST(WithoutChildren, TheShellSaysSo) {
    EXPECT_FALSE(RunInShell("true"));
}

TEST(WithoutChildren, ADigestIsEmptyAndItsMessageTheOnlyTrace) {
    WriteFile("/tmp/f", "abc");
    const LogCapture log;
    char digest[33] = "before";
    EXPECT_EQ(getfilemd5("/tmp/f", digest), digest);
    EXPECT_STREQ(digest, "");
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{3, "start calc md5 for /tmp/f"}));
}

TEST(WithoutChildren, AnInstallSaysSoAndStillDeletesTheFile) {
    WriteFile("/tmp/local", "abc");
    for (const int type : {0, 1, 9}) {
        WriteFile("/tmp/local", "abc");
        down_file_para offer{};
        offer.type = type;
        std::snprintf(offer.file, sizeof offer.file, "f");
        std::snprintf(offer.path, sizeof offer.path, "/tmp");
        const LogCapture log;
        EXPECT_EQ(DealDownFile(&offer, "/tmp/local"), 0);
        EXPECT_THAT(log.Text(), ElementsAre(LogEntry{3, "start deal file /tmp/local"}));
        EXPECT_NE(access("/tmp/local", F_OK), 0);
    }
}

TEST(WithoutChildren, ADownloadReportsAMismatchAndGoesOn) {
    ScriptedServer server;
    Configure(server);
    const std::string md5 = Md5Of("content");
    server.Otherwise([&](const Request &request) {
        if (request.path == "/cloud/downfile/GW4567" && request.method == "GET") {
            return Reply(200, OfferList({{"a", md5, 9, "/tmp"}, {"b", md5, 9, "/tmp"}}));
        }
        return request.method == "GET" ? ReplyFile("content") : Reply(200);
    });
    ASSERT_EQ(pthread_mutex_lock(&down_file_mutex), 0);
    DownFile(nullptr);
    const std::vector<Request> requests = server.Requests();
    ASSERT_EQ(requests.size(), 7U);
    EXPECT_EQ(requests[4].body, StatusBody(md5, 0));
    EXPECT_EQ(requests[6].body, StatusBody(md5, 0));
}

TEST(WithoutThreads, ADownloadThatCannotStartEndsTheProcessWithStatus0) {
    ScriptedServer server;
    Configure(server);
    WriteFile("/tmp/S.json", "x");
    server.Next(Reply(426));
    std::string path = "/tmp/S.json";
    EXPECT_EXIT(UploadRealDataFile(path.data()), testing::ExitedWithCode(0), "");
}

TEST(WithoutThreads, OtherAnswersDoNotEndTheProcess) {
    ScriptedServer server;
    Configure(server);
    WriteFile("/tmp/S.json", "x");
    std::string path = "/tmp/S.json";
    EXPECT_EQ(UploadRealDataFile(path.data()), 0);
    server.Next(Reply(426));
    EXPECT_EQ(UploadAlarmDataFile(path.data()), -1);
    ASSERT_EQ(pthread_mutex_lock(&down_file_mutex), 0);
    server.Next(Reply(426));
    EXPECT_EQ(UploadRealDataFile(path.data()), 0) << "a running download needs no thread";
}

}  // namespace
}  // namespace corvenna::test
