#include "tests/plugin/world.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plugin/download.h"
#include "plugin/plugin.h"
#include "tests/support/capture_stdout.h"

namespace corvenna::test {
namespace {

std::vector<recall_time_para> gRanges;

int DeleteOneRecall() {
    recall_time_para range{0, 3600};
    return DeleteRecall(&range);
}

int UploadRealData() {
    std::string path = kWorldFile;
    return UploadRealDataFile(path.data());
}

int UploadAlarmData() {
    return UploadAlarmDataFile(kWorldFile);
}

}  // namespace

int CheckRecalls() {
    gRanges.clear();
    return CheckRecall(&gRanges);
}

std::size_t Recalled() {
    return gRanges.size();
}

const std::vector<EntryPoint> &EntryPoints() {
    static const std::vector<EntryPoint> all = {{"PrePost", PrePost},
                                                {"CheckRecall", CheckRecalls},
                                                {"DeleteRecall", DeleteOneRecall},
                                                {"UploadRealDataFile", UploadRealData},
                                                {"UploadAlarmDataFile", UploadAlarmData}};
    return all;
}

Answer WellAnswer(const Request &request) {
    if (request.method == "DELETE") {
        return Reply(204);
    }
    return Reply(200, request.method == "GET" ? kWorldRecalls : "");
}

std::vector<std::string> Refusals(const LogCapture &log) {
    std::vector<std::string> texts;
    for (const LogEntry &entry : log.Text()) {
        if (entry.level == 4) {
            texts.push_back(entry.text);
        }
    }
    return texts;
}

void ExpectFails(const EntryPoint &entry, const std::string &text) {
    SCOPED_TRACE(entry.name);
    const LogCapture log;
    Printed([&] { EXPECT_EQ(entry.call(), -1); });
    const std::vector<std::string> refusals = Refusals(log);
    ASSERT_EQ(refusals.size(), 1U);
    EXPECT_THAT(refusals[0], testing::HasSubstr(text));
}

void ExpectAllFail(const std::string &text) {
    for (const EntryPoint &entry : EntryPoints()) {
        ExpectFails(entry, text);
    }
}

void ExpectDownloadEnds() {
    ASSERT_EQ(pthread_mutex_trylock(&down_file_mutex), 0);
    DownFile(nullptr);
    ASSERT_EQ(pthread_mutex_trylock(&down_file_mutex), 0);
    pthread_mutex_unlock(&down_file_mutex);
}

void ExpectAllWorkOn(ScriptedServer &server) {
    server.Otherwise(WellAnswer);
    for (const EntryPoint &entry : EntryPoints()) {
        EXPECT_EQ(entry.call(), 0) << entry.name;
    }
    EXPECT_EQ(Recalled(), 1U);
    ExpectDownloadEnds();
}

}  // namespace corvenna::test
