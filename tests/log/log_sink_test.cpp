#include "log/log_sink.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "tests/log/child.h"
#include "tests/log/clock.h"
#include "tests/log/day_files.h"
#include "tests/log/held_queue.h"
#include "tests/log/pages.h"
#include "tests/log/sleepers.h"
#include "tests/log/waits.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

constexpr std::size_t kLimit = 16777216;

template <class Sink>
__attribute__((format(printf, 3, 4))) void InsertEchoed(Sink &sink, bool echo, const char *format,
                                                        ...) {
    va_list arguments;
    va_start(arguments, format);
    sink.InsertFormatted("INFO", format, arguments, echo);
    va_end(arguments);
}

TEST(LogSink, AMessageIsEchoedAndStampedBeforeItWaitsForAWriter) {
    std::thread caller;
    {
        CLogDatabase sink;
        sink.Init();
        WhileTheQueueIsHeld(sink, [&] {
            testing::internal::CaptureStderr();
            const std::future<void> stamped = NextTimeAsked();
            caller = std::thread([&] { InsertEchoed(sink, true, "message %d", 7); });
            EXPECT_EQ(std::future_status::ready, stamped.wait_for(std::chrono::minutes(5)));
            EXPECT_EQ("message 7", testing::internal::GetCapturedStderr());
        });
        caller.join();
    }
    EXPECT_EQ(std::vector<std::string>{"message 7"},
              Query("SELECT log_Desc FROM log_tbl WHERE log_Desc!=''"));
}

/// A sink of a host's own.
template <class Sink>
class Derived : public Sink {
public:
    explicit Derived(bool &ended) : ended_(ended) {}
    ~Derived() override { ended_ = true; }
    Derived(const Derived &) = delete;
    Derived &operator=(const Derived &) = delete;

private:
    bool &ended_;
};

TEST(LogSink, EitherMayBeDerivedFromAndEndsByItsBase) {
    bool databaseEnded = false;
    bool textEnded = false;
    std::unique_ptr<CLogDatabase>(new Derived<CLogDatabase>(databaseEnded)).reset();
    std::unique_ptr<CLogTxt>(new Derived<CLogTxt>(textEnded)).reset();
    EXPECT_TRUE(databaseEnded);
    EXPECT_TRUE(textEnded);
}

TEST(LogSink, EachHoldsSixteenMebibytesAtMost) {
    CLogDatabase database;
    CLogTxt text;
    for (int i = 0; i < 100000; ++i) {
        database.InsertLog("INFO", std::string(254, 'd').c_str());
    }
    EXPECT_EQ(kLimit, Pages::HeldBytes());
    for (int i = 0; i < 10000; ++i) {
        text.InsertLog("INFO", std::string(2046, 't').c_str());
    }
    EXPECT_EQ(2 * kLimit, Pages::HeldBytes());
    EXPECT_EQ(0, database.InsertLog("INFO", "one more"));
    EXPECT_EQ(2 * kLimit, Pages::MostHeldBytes());
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);  // nothing of it needs to be written
}

TEST(LogSink, IsBoundedWhileTheDayFileCannotBeOpenedAndGoesOnAfterwards) {
    Sleepers sleepers;
    const std::string file = TodaysFile();
    mkdir("/tmp/CloudLog", 0755);
    mkdir(file.c_str(), 0755);
    auto *sink = new CLogTxt;  // never destroyed: its writer has no stop
    for (int i = 0; i < 10000; ++i) {
        sink->InsertLog("INFO", std::string(2046, 't').c_str());
    }
    Printed([&] {
        std::thread([sink] { CLogTxt::RecordThread(sink); }).detach();
        sleepers.WaitFor(1);
    });
    EXPECT_EQ(kLimit, Pages::HeldBytes());
    rmdir(file.c_str());
    sleepers.Wake();
    sleepers.WaitFor(2);
    EXPECT_EQ(49 * Blocks::kBlockBytes, Pages::HeldBytes());
    sleepers.Wake();
    sleepers.WaitFor(3);
    EXPECT_EQ(45 * Blocks::kBlockBytes, Pages::HeldBytes()) << "a quiet round gives some back";
    unlink(file.c_str());  // beyond its limit
    sink->InsertLog("INFO", "next");
    sleepers.Wake();
    sleepers.WaitFor(4);
    const std::string told = ReadFile(file);
    const std::size_t kept = kLimit / (2046 + sizeof(LogHeader));
    EXPECT_EQ(0U, told.find(told.substr(0, 20) + "logType:WARN\n ")) << told;
    const std::size_t number = std::strtoul(told.c_str() + told.find("\n ") + 2, nullptr, 10);
    EXPECT_NEAR(static_cast<double>(10000 - kept), static_cast<double>(number), 2.0);
    EXPECT_NE(std::string::npos, told.find(" log messages were dropped\n" + told.substr(0, 20) +
                                           "logType:INFO\n next\n"))
        << told;
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(LogSink, AMessageThatCannotBeFormattedKeepsWhatCould) {
    {
        CLogTxt sink;
        InsertEchoed(sink, false, "before %ls after", L"\xD800");
    }
    const std::string written = ReadFile(TodaysFile());
    EXPECT_EQ(0U, written.find(written.substr(0, 20) + "logType:INFO\n before")) << written;
}

TEST(LogSink, ACallersTextThatFillsItsFieldIsNotReadBeyondIt) {
    auto fill = [](auto &field, char letter) { std::memset(field, letter, sizeof field); };
    std::list<ST_TXT_LOG_NODE> texts(1);
    fill(texts.front().date, 'd');
    fill(texts.front().time, 't');
    fill(texts.front().type, 'y');
    fill(texts.front().text, 'x');
    CLogTxt text;
    EXPECT_EQ(0, text.WriteLog(&texts));
    EXPECT_EQ(std::string(11, 'd') + ' ' + std::string(11, 't') +
                  " logType:" + std::string(11, 'y') + "\n " + std::string(2002, 'x'),
              ReadFile(TodaysFile()));
    std::list<ST_LOG_NODE> rows(1);
    fill(rows.front().RecordDate, 'd');
    fill(rows.front().RecordTime, 't');
    fill(rows.front().log_Type, 'y');
    fill(rows.front().log_Desc, 'x');
    CLogDatabase database;
    EXPECT_EQ(0, database.WriteLog(&rows));
    EXPECT_EQ((std::vector<std::string>{"11 11 11 255"}),
              Query("SELECT length(RecordDate)||' '||length(RecordTime)||' '||length(log_Type)||' '"
                    "||length(log_Desc) FROM log_tbl"));
}

}  // namespace
}  // namespace corvenna::test
