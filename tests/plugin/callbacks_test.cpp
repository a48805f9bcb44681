#include "plugin/callbacks.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>

#include "base/handle.h"
#include "base/process_end.h"
#include "base/text.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/plugin/gateway.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using Handler = std::size_t (*)(char *, std::size_t, std::size_t, void *);

void SetFormat(const char *format) {
    CopyText<15>(GetCSysSetInstance()->GetCloudConfigAttr()->filetype, format);
}

/// Hands a block over the way libcurl does: exactly its bytes, no NUL behind them.
std::size_t Deliver(Handler handler, const std::string &text, std::size_t size = 1) {
    const std::unique_ptr<char[]> block(new char[text.size()]);
    std::memcpy(block.get(), text.data(), text.size());
    return handler(block.get(), size, text.size() / size, nullptr);
}

constexpr char kTwoRecalls[] =
    R"({"node":[{"startdt":"2024-03-05 00:00:00","enddt":"2024-03-05 01:00:00"},)"
    R"({"startdt":"2024-03-06 00:00:00","enddt":"2024-03-06 02:00:00"}]})";

TEST(SilentHandler, AcceptsEverythingAndKeepsNothing) {
    const LogCapture log;
    EXPECT_EQ(Deliver(IgnoreResponse, "text"), 4U);
    EXPECT_EQ(IgnoreResponse(nullptr, 1, 0, nullptr), 0U);
    EXPECT_EQ(IgnoreResponse(nullptr, 3, 7, nullptr), 21U);
    EXPECT_THAT(log.Text(), IsEmpty());
}

TEST(LoggingHandler, LogsTheBlockAsText) {
    const LogCapture log;
    EXPECT_EQ(Deliver(LogResponse, "accepted"), 8U);
    EXPECT_EQ(Deliver(LogResponse, "four", 2), 4U);
    EXPECT_EQ(Deliver(LogResponse, ""), 0U);
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{3, "Receive Response:\naccepted"},
                                        LogEntry{3, "Receive Response:\nfour"},
                                        LogEntry{3, "Receive Response:\n"}));
}

TEST(LoggingHandler, PercentSignsOfTheServerAreText) {
    const LogCapture log;
    Deliver(LogResponse, "%s%n%d");
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{3, "Receive Response:\n%s%n%d"}));
}

TEST(LoggingHandler, ABlockIsShownUpToItsFirstNul) {
    const LogCapture log;
    EXPECT_EQ(Deliver(LogResponse, std::string("seen\0hidden", 11)), 11U);
    EXPECT_EQ(Deliver(LogResponse, std::string("\0hidden", 7)), 7U);
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{3, "Receive Response:\nseen"},
                                        LogEntry{3, "Receive Response:\n"}));
}

TEST(LoggingHandler, TheLongestBlockOfATransferIsHandedToTheLogWhole) {
    const LogCapture log;
    const std::string block(CURL_MAX_WRITE_SIZE, 'x');
    EXPECT_EQ(Deliver(LogResponse, block), block.size());
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{3, "Receive Response:\n" + block}));
}

TEST(LoggingHandler, ABlockBeyondThatIsAcceptedWholeAndShownCut) {
    const LogCapture log;
    const std::string block(CURL_MAX_WRITE_SIZE + 1, 'x');
    EXPECT_EQ(Deliver(LogResponse, block), block.size());
    EXPECT_THAT(log.Text(), ElementsAre(LogEntry{
                                3, "Receive Response:\n" + block.substr(0, CURL_MAX_WRITE_SIZE)}));
}

TEST(RecallHandler, LogsAndAppends) {
    SetFormat("json");
    std::vector<recall_time_para> recalls(1);
    gPRecalltime = &recalls;
    const LogCapture log;
    EXPECT_EQ(Deliver(ParseRecalls, kTwoRecalls), std::strlen(kTwoRecalls));
    ASSERT_EQ(recalls.size(), 3U);
    EXPECT_EQ(recalls[1].end - recalls[1].start, 3600);
    EXPECT_EQ(recalls[2].end - recalls[2].start, 7200);
    EXPECT_THAT(log.Text(),
                ElementsAre(LogEntry{3, std::string("Receive Response:\n") + kTwoRecalls}));
}

TEST(RecallHandler, AnExceptionStopsHere) {
    SetFormat("json");
    std::vector<recall_time_para> recalls;
    gPRecalltime = &recalls;
    const LogCapture log;
    EXPECT_EQ(Deliver(ParseRecalls, R"({"node":7})"), 10U);
    EXPECT_THAT(recalls, IsEmpty());
    EXPECT_THAT(log.Text(), Contains(LogEntry{5, "Response not understood: rapidjson exception"}));
}

TEST(RecallHandler, ABlockThatDoesNotParseIsAccepted) {
    for (const char *format : {"json", "xml", "other"}) {
        SetFormat(format);
        std::vector<recall_time_para> recalls;
        gPRecalltime = &recalls;
        EXPECT_EQ(Deliver(ParseRecalls, "{<nonsense"), 10U) << format;
        EXPECT_EQ(Deliver(ParseRecalls, ""), 0U) << format;
        EXPECT_THAT(recalls, IsEmpty());
    }
}

TEST(RecallHandler, WithoutAListTheBlockIsOnlyLogged) {
    SetFormat("json");
    gPRecalltime = nullptr;
    const LogCapture log;
    EXPECT_EQ(Deliver(ParseRecalls, kTwoRecalls), std::strlen(kTwoRecalls));
    EXPECT_EQ(log.Text().size(), 1U);
}

TEST(OfferHandler, LogsAndAppends) {
    for (const std::string format : {"json", "xml"}) {
        SetFormat(format.c_str());
        std::vector<down_file_para> offers;
        gPDownFile = &offers;
        const std::string list = OfferList({{"a/b.bin", "0123", 9, "/opt"}}, format);
        const LogCapture log;
        EXPECT_EQ(Deliver(ParseOffers, list), list.size());
        ASSERT_EQ(offers.size(), 1U);
        EXPECT_STREQ(offers[0].file, "a/b.bin");
        EXPECT_STREQ(offers[0].md5, "0123");
        const int type = offers[0].type;
        EXPECT_EQ(type, 9);
        EXPECT_STREQ(offers[0].path, "/opt");
        EXPECT_THAT(log.Text(), ElementsAre(LogEntry{3, "Receive Response:\n" + list}));
    }
}

TEST(OfferHandler, AnExceptionStopsHereAndNothingIsAppended) {
    SetFormat("json");
    std::vector<down_file_para> offers;
    gPDownFile = &offers;
    const LogCapture log;
    const std::string list =
        R"({"node":[{"file":"f","md5":"m","type":"0","path":""},{"file":"f"}]})";
    EXPECT_EQ(Deliver(ParseOffers, list), list.size());
    EXPECT_THAT(offers, IsEmpty());
    EXPECT_THAT(log.Text(), Contains(LogEntry{5, "Response not understood: rapidjson exception"}));
}

TEST(OfferHandler, WithoutAListTheBlockIsOnlyLogged) {
    SetFormat("json");
    gPDownFile = nullptr;
    EXPECT_EQ(Deliver(ParseOffers, OfferList({{"a", "b", 5, ""}})),
              OfferList({{"a", "b", 5, ""}}).size());
}

// ---- How much of an answer is taken ----

/// An answer of that many empty entries.
std::string Nodes(const std::string &format, std::size_t count) {
    const std::string entry = format == "xml"
                                  ? "<node/>"
                                  : R"({"file":"","md5":"","type":"","path":"","startdt":"",)"
                                    R"("enddt":""})";
    std::string text = format == "xml" ? "<data>" : R"({"node":[)";
    for (std::size_t i = 0; i < count; ++i) {
        text += (i > 0 && format != "xml" ? "," : "") + entry;
    }
    return text + (format == "xml" ? "</data>" : "]}");
}

std::vector<std::string> Errors(const LogCapture &log) {
    std::vector<std::string> errors;
    for (const LogEntry &entry : log.Text()) {
        if (entry.level == 5) {
            errors.push_back(entry.text);
        }
    }
    return errors;
}

class AnswerLimits : public testing::TestWithParam<const char *> {
protected:
    AnswerLimits() {
        SetFormat(GetParam());
        gPRecalltime = &recalls_;
        gPDownFile = &offers_;
    }
    std::vector<recall_time_para> recalls_;
    std::vector<down_file_para> offers_;
};

TEST_P(AnswerLimits, AListTakes4096Offers) {
    for (const auto &[count, kept, errors] :
         {std::tuple{4095, 4095, 0}, {4096, 4096, 0}, {4097, 4096, 1}}) {
        const LogCapture log;
        offers_.clear();
        BeginOffers();
        Deliver(ParseOffers, Nodes(GetParam(), static_cast<std::size_t>(count)));
        EXPECT_EQ(static_cast<int>(offers_.size()), kept) << count;
        EXPECT_EQ(static_cast<int>(Errors(log).size()), errors) << count;
    }
}

TEST_P(AnswerLimits, AListTakes65536Ranges) {
    for (const auto &[count, kept, errors] :
         {std::tuple{65535, 65535, 0}, {65536, 65536, 0}, {65537, 65536, 1}}) {
        const LogCapture log;
        recalls_.clear();
        BeginRecalls();
        Deliver(ParseRecalls, Nodes(GetParam(), static_cast<std::size_t>(count)));
        EXPECT_EQ(static_cast<int>(recalls_.size()), kept) << count;
        EXPECT_EQ(static_cast<int>(Errors(log).size()), errors) << count;
    }
}

TEST_P(AnswerLimits, WhatFollowsAFullListIsAcceptedIgnoredAndStillLogged) {
    const LogCapture log;
    BeginOffers();
    const std::string block = Nodes(GetParam(), 3000);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Deliver(ParseOffers, block), block.size());
    }
    EXPECT_EQ(offers_.size(), 4096U);
    EXPECT_THAT(Errors(log),
                ElementsAre("the list is full with 4096 entries, the rest is ignored"));
    EXPECT_EQ(log.Text().size(), 6U);
}

TEST_P(AnswerLimits, TheNextAnswerIsReadAgain) {
    BeginOffers();
    Deliver(ParseOffers, Nodes(GetParam(), 5000));
    offers_.clear();
    BeginOffers();
    Deliver(ParseOffers, Nodes(GetParam(), 3));
    EXPECT_EQ(offers_.size(), 3U);
}

TEST_P(AnswerLimits, EightMiBOfAnAnswerAreParsed) {
    const LogCapture log;
    std::string block = Nodes(GetParam(), 1);
    block.resize(std::size_t{1024} * 1024, ' ');
    BeginRecalls();
    for (int i = 0; i < 8; ++i) {
        Deliver(ParseRecalls, block);
    }
    EXPECT_EQ(recalls_.size(), 8U);
    EXPECT_THAT(Errors(log), IsEmpty());
    for (const std::string &more : {Nodes(GetParam(), 1), block}) {
        EXPECT_EQ(Deliver(ParseRecalls, more), more.size());
    }
    EXPECT_EQ(recalls_.size(), 8U);
    EXPECT_THAT(Errors(log),
                ElementsAre("an answer of more than 8388608 bytes, the rest is ignored"));
}

INSTANTIATE_TEST_SUITE_P(Formats, AnswerLimits, testing::Values("json", "xml"),
                         [](const auto &row) { return row.param; });

TEST(FileCallbacks, AreThoseOfStdio) {
    char block[] = "content";
    {
        const File file(std::fopen("/tmp/f", "wb"));
        EXPECT_EQ(WriteToFile(block, 1, 7, file.get()), 7U);
    }
    EXPECT_EQ(ReadFile("/tmp/f"), "content");
    char back[16] = "";
    const File file(std::fopen("/tmp/f", "rb"));
    EXPECT_EQ(ReadFromFile(back, 1, sizeof back, file.get()), 7U);
    EXPECT_STREQ(back, "content");
    EXPECT_EQ(ReadFromFile(back, 1, sizeof back, file.get()), 0U);
}

/// Runs when the end of the process has begun. Status 0: a download's write was given up.
void WriteWhileTheProcessEnds() {
    char block[] = "content";
    const File file(std::fopen("/tmp/f", "wb"));
    _exit(IsProcessEnding() && WriteToFile(block, 1, 7, file.get()) == 0 ? 0 : 1);
}

TEST(FileCallbacks, GiveADownloadUpWhenTheProcessEnds) {
    EXPECT_EXIT(
        {
            std::atexit(WriteWhileTheProcessEnds);  // runs after what is registered later
            GuardProcessEnd();
            std::exit(2);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace corvenna::test
