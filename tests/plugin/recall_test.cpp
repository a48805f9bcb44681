#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "plugin/plugin.h"
#include "tests/plugin/gateway.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

std::string RecallList(const std::string &format) {
    return format == "json"
               ? R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":"1970-01-01 01:00:00"},)"
                 R"({"startdt":"2001-09-09 01:46:40","enddt":"2001-09-09 01:46:41"}]})"
               : R"(<data><node startdt="1970-01-01 00:00:00" enddt="1970-01-01 01:00:00"/>)"
                 R"(<node startdt="2001-09-09 01:46:40" enddt="2001-09-09 01:46:41"/></data>)";
}

class RecallTest : public testing::TestWithParam<Wire> {
protected:
    RecallTest() {
        setenv("TZ", "UTC0", 1);
        tzset();
        Configure(server_, GetParam());
    }
    std::string Url() const { return server_.Url("/cloud/calldata/GW4567"); }
    bool Secure() const { return GetParam().protocol != Protocol::kHttp; }

    ScriptedServer server_{GetParam().protocol};
    const LogCapture log_;
    std::vector<recall_time_para> recalls_;
};

TEST_P(RecallTest, TwoRangesComeInTheServersOrder) {
    server_.Next(Reply(200, RecallList(GetParam().format)));
    EXPECT_EQ(CheckRecall(&recalls_), 0);
    EXPECT_THAT(Lines(server_.Requests()), ElementsAre("GET /cloud/calldata/GW4567"));
    ASSERT_EQ(recalls_.size(), 2U);
    EXPECT_EQ(recalls_[0].start, 0);
    EXPECT_EQ(recalls_[0].end, 3600);
    EXPECT_EQ(recalls_[1].start, 1000000000);
    EXPECT_EQ(recalls_[1].end, 1000000001);
    EXPECT_EQ(gPRecalltime, &recalls_);
}

TEST_P(RecallTest, RangesAreAppendedToWhatTheListHolds) {
    recalls_.push_back({1, 2});
    server_.Next(Reply(200, RecallList(GetParam().format)));
    EXPECT_EQ(CheckRecall(&recalls_), 0);
    ASSERT_EQ(recalls_.size(), 3U);
    EXPECT_EQ(recalls_[0].end, 2);
}

TEST_P(RecallTest, MessagesDifferByABlankBetweenTheProtocols) {
    const std::string list = RecallList(GetParam().format);
    server_.Next(Reply(200, list));
    CheckRecall(&recalls_);
    EXPECT_THAT(log_.Text(),
                ElementsAre(LogEntry{3, (Secure() ? "start Check Recall Time from "
                                                  : "start CheckRecall Time from ") +
                                            Url()},
                            LogEntry{3, "Receive Response:\n" + list},
                            LogEntry{3, "Check Recall Time from " + Url() + " finish"}));
}

TEST_P(RecallTest, UnusableAnswersGiveAnEmptyListAndTheTransportsResult) {
    for (const char *body :
         {"", "nonsense", "<other/>", R"({"node":7})", "{}", "<data/>", "[[[["}) {
        server_.Next(Reply(200, body));
        EXPECT_EQ(CheckRecall(&recalls_), 0) << body;
        EXPECT_THAT(recalls_, IsEmpty()) << body;
    }
}

TEST_P(RecallTest, ARefusalFailsAndItsBodyIsParsedAllTheSame) {
    server_.Next(Reply(500, RecallList(GetParam().format)));
    EXPECT_EQ(CheckRecall(&recalls_), -1);
    EXPECT_EQ(recalls_.size(), 2U);
    EXPECT_EQ(log_.Text().back(), (LogEntry{3, "Check Recall Time from " + Url() + " finish"}));
}

TEST_P(RecallTest, Status201IsAnAnswerOverHttpOnly) {
    server_.Next(Reply(201));
    EXPECT_EQ(CheckRecall(&recalls_), Secure() ? -1 : 0);
}

TEST_P(RecallTest, ABrokenConnectionFails) {
    server_.Next(CloseAt(Stage::kRequest));
    EXPECT_EQ(CheckRecall(&recalls_), -1);
    EXPECT_THAT(recalls_, IsEmpty());
}

TEST_P(RecallTest, EachBlockIsParsedByItself) {
    const std::string list = RecallList(GetParam().format);
    server_.Next(ReplyChunked(200, {list, list}));
    EXPECT_EQ(CheckRecall(&recalls_), 0);
    EXPECT_EQ(recalls_.size(), 4U);
}

TEST_P(RecallTest, AnAnswerSplitInTwoIsNotJoined) {
    const std::string list = RecallList(GetParam().format);
    server_.Next(ReplyInPieces(200, {list.substr(0, 40), list.substr(40)}));
    std::thread host([this] { EXPECT_EQ(CheckRecall(&recalls_), 0); });
    server_.Release();
    // The second half leaves when the first has been logged.
    while (log_.Text().size() < 2) {
        std::this_thread::yield();
    }
    server_.Release();
    host.join();
    EXPECT_THAT(recalls_, IsEmpty());
    EXPECT_THAT(log_.Text(), Contains(LogEntry{3, "Receive Response:\n" + list.substr(0, 40)}));
    EXPECT_THAT(log_.Text(), Contains(LogEntry{3, "Receive Response:\n" + list.substr(40)}));
}

TEST_P(RecallTest, AServedRangeIsDeletedWithABody) {
    recall_time_para range{0, 3600};
    server_.Next(Reply(204));
    EXPECT_EQ(DeleteRecall(&range), 0);
    const std::vector<Request> requests = server_.Requests();
    ASSERT_THAT(Lines(requests), ElementsAre("DELETE /cloud/calldata/GW4567"));
    EXPECT_EQ(
        requests[0].body,
        GetParam().format == "json"
            ? R"({"node":{"startdt":"1970-01-01 00:00:00","enddt":"1970-01-01 01:00:00"}})"
            : "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<data>\n  <node startdt=\"1970-01-01 "
              "00:00:00\" enddt=\"1970-01-01 01:00:00\"/>\n</data>\n");
    EXPECT_THAT(log_.Text(),
                ElementsAre(LogEntry{3, "start Delete Recall Time from " + Url()},
                            LogEntry{3, "Delete Recall Time from " + Url() + " finish"}));
}

TEST_P(RecallTest, OnlyStatus204Deletes) {
    recall_time_para range{0, 3600};
    for (const int status : {200, 201, 404, 500}) {
        server_.Next(Reply(status));
        EXPECT_EQ(DeleteRecall(&range), -1) << status;
    }
}

INSTANTIATE_TEST_SUITE_P(Wires, RecallTest, testing::ValuesIn(AllWires()),
                         [](const auto &row) { return NameOf(row.param); });

TEST(Recall, NullArgumentsFailWithAMessage) {
    ScriptedServer server;
    Configure(server);
    const LogCapture log;
    EXPECT_EQ(CheckRecall(nullptr), -1);
    EXPECT_EQ(DeleteRecall(nullptr), -1);
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{5, "CheckRecall: list is null"},
                                        LogEntry{5, "DeleteRecall: range is null"}));
    EXPECT_EQ(server.Connections(), 0);
}

TEST(Recall, AnUnknownFormatDeletesNothing) {
    ScriptedServer server;
    Configure(server, {"csv", Protocol::kHttp, false});
    recall_time_para range{0, 3600};
    EXPECT_EQ(DeleteRecall(&range), -1);
    EXPECT_EQ(server.Connections(), 0);
}

TEST(Recall, AnUnknownFormatStillAsks) {
    ScriptedServer server;
    Configure(server, {"csv", Protocol::kHttp, false});
    server.Next(Reply(200, RecallList("json")));
    std::vector<recall_time_para> recalls;
    EXPECT_EQ(CheckRecall(&recalls), 0);
    EXPECT_EQ(server.Requests().size(), 1U);
    EXPECT_THAT(recalls, IsEmpty());
}

TEST(Recall, ASecondCheckWaitsAndEachListGetsItsOwn) {
    ScriptedServer server;
    Configure(server);
    server.Next(ReplyInPieces(200, {RecallList("json")}));
    server.Next(Reply(200, R"({"node":[]})"));
    std::vector<recall_time_para> first;
    std::vector<recall_time_para> second;
    std::thread one([&] { EXPECT_EQ(CheckRecall(&first), 0); });
    server.WaitForRequests(1);
    std::thread two([&] { EXPECT_EQ(CheckRecall(&second), 0); });
    server.Release();
    one.join();
    two.join();
    EXPECT_EQ(first.size(), 2U);
    EXPECT_EQ(second.size(), 0U);
}

TEST(Recall, AForkedProcessMayAskWhileItsParentWaits) {
    ScriptedServer server;
    Configure(server);
    server.Next(ReplyInPieces(200, {RecallList("json")}));
    std::vector<recall_time_para> recalls;
    std::thread host([&] { EXPECT_EQ(CheckRecall(&recalls), 0); });
    server.WaitForRequests(1);
    server.Next(Reply(200, RecallList("json")));
    EXPECT_EXIT(
        {
            std::vector<recall_time_para> own;
            _exit(CheckRecall(&own) == 0 && own.size() == 2 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    server.Release();
    host.join();
    EXPECT_EQ(recalls.size(), 2U);
}

TEST(Recall, NestingDoesNotEatTheStack) {
    ScriptedServer server;
    Configure(server);
    server.Next(Reply(200, std::string(200000, '[')));
    std::vector<recall_time_para> recalls;
    EXPECT_EQ(CheckRecall(&recalls), 0);
    EXPECT_THAT(recalls, IsEmpty());
}

}  // namespace
}  // namespace corvenna::test
