#include <gtest/gtest.h>
#include <pthread.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/message/answers.h"
#include "tests/support/log_capture.h"

namespace {

const CParseMemory *gWatched = nullptr;
std::vector<std::string> gCalls;

void Note(const char *call, const pthread_mutex_t *mutex) {
    const void *const at = mutex;
    if (gWatched != nullptr && at >= gWatched && at < gWatched + 1) {
        gCalls.emplace_back(call);
    }
}

}  // namespace

extern "C" {

int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex);

int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex) {
    Note("lock", mutex);
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex) {
    Note("unlock", mutex);
    return __real_pthread_mutex_unlock(mutex);
}
}

namespace corvenna::test {
namespace {

using Calls = std::vector<std::string>;

class ParserMutex : public testing::TestWithParam<Answer> {
protected:
    ParserMutex() {
        gWatched = &parser_;
        gCalls.clear();
    }
    ~ParserMutex() override { gWatched = nullptr; }

    int Parse(const char *format, const std::string &text) {
        return GetParam().parse(parser_, format, text.c_str(), static_cast<int>(text.size()));
    }

    CParseMemory parser_;
    const LogCapture log_;
};

TEST_P(ParserMutex, IsHeldOnceForAJsonAnswer) {
    EXPECT_LE(0, Parse("json", GetParam().json));
    EXPECT_EQ((Calls{"lock", "unlock"}), gCalls);
}

TEST_P(ParserMutex, IsReleasedWhenJsonDoesNotParse) {
    EXPECT_EQ(-1, Parse("json", "{"));
    EXPECT_EQ((Calls{"lock", "unlock"}), gCalls);
}

TEST_P(ParserMutex, IsReleasedWhenAMemberIsMissing) {
    EXPECT_THROW(Parse("json", "{}"), std::logic_error);
    EXPECT_EQ((Calls{"lock", "unlock"}), gCalls);
}

TEST_P(ParserMutex, IsNotTakenForXmlOrAnotherFormat) {
    EXPECT_EQ(0, Parse("xml", GetParam().xml));
    EXPECT_EQ(-1, Parse("xml", "<x/>"));
    EXPECT_EQ(-1, Parse("text", ""));
    EXPECT_EQ(Calls{}, gCalls);
}

INSTANTIATE_TEST_SUITE_P(Answers, ParserMutex, testing::ValuesIn(kAnswers),
                         [](const auto &answer) { return std::string(answer.param.name); });

}  // namespace
}  // namespace corvenna::test
