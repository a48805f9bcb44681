#include "tools/gateway/plugin_echo.h"

#include <gtest/gtest.h>

#include <thread>

namespace corvenna::test {
namespace {

using gateway::Listener;
using gateway::PluginEcho;
using Texts = std::vector<std::string>;

class PluginEchoTest : public testing::Test {
protected:
    PluginEcho Make(bool all) {
        return {[this](const std::string &message) { copied.push_back(message); }, all};
    }
    Texts copied;
};

TEST_F(PluginEchoTest, GivesEveryMessageToTheListenerOfItsThread) {
    const PluginEcho echo = Make(false);
    const Listener listener;
    std::fputs("one\nof two lines", stderr);
    std::thread([] {
        const Listener other;
        std::fputs("elsewhere", stderr);
        EXPECT_EQ(other.Messages(), Texts{"elsewhere"});
    }).join();
    std::fputs("two", stderr);
    EXPECT_EQ(listener.Messages(), (Texts{"one\nof two lines", "two"}));
    EXPECT_TRUE(copied.empty());
}

TEST_F(PluginEchoTest, CopiesWhatNobodyListensTo) {
    const PluginEcho echo = Make(false);
    std::fputs("nobody", stderr);
    {
        const Listener listener;
        std::fputs("somebody", stderr);
    }
    EXPECT_EQ(copied, Texts{"nobody"});
}

TEST_F(PluginEchoTest, CopiesEverythingWhenItIsAskedTo) {
    const PluginEcho echo = Make(true);
    {
        const Listener listener;
        std::fputs("somebody", stderr);
    }
    EXPECT_EQ(copied, Texts{"somebody"});
}

TEST_F(PluginEchoTest, PutsTheStreamBack) {
    std::FILE *const before = stderr;
    {
        const PluginEcho echo = Make(true);
        EXPECT_NE(stderr, before);
    }
    EXPECT_EQ(stderr, before);
}

TEST_F(PluginEchoTest, LetsTheLastWordsOfAProcessThrough) {
    const auto die = [this] {
        const PluginEcho echo = Make(false);
        std::fputs("host: packfile: Assertion `ofs.is_open()' failed.", stderr);
        abort();
    };
    EXPECT_DEATH(die(), "Assertion `ofs.is_open");
}

}  // namespace
}  // namespace corvenna::test
