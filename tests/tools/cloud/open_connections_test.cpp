#include "tools/cloud/net/open_connections.h"

#include <gtest/gtest.h>

namespace corvenna::cloud {
namespace {

/// Nothing looks into a session here.
std::shared_ptr<Session> NewSession() {
    const auto memory = std::make_shared<char>();
    return {memory, reinterpret_cast<Session *>(memory.get())};
}

class OpenConnectionsTest : public testing::Test {
protected:
    OpenConnectionsTest() { limits_.connections = 2; }

    Limits limits_;
    OpenConnections open_{limits_};
    std::shared_ptr<Session> first_ = NewSession();
    std::shared_ptr<Session> second_ = NewSession();
};

TEST_F(OpenConnectionsTest, TheFirstGivesWayAlthoughAnotherHasDoneItsFirstStepBefore) {
    const auto one = open_.Admit("127.0.0.1");
    open_.SetSession(*one.place, first_);
    const auto two = open_.Admit("127.0.0.1");
    open_.SetSession(*two.place, second_);
    two.place->AwaitPeer();
    const auto three = open_.Admit("127.0.0.1");
    EXPECT_NE(three.place, nullptr);
    EXPECT_EQ(three.givesWay, first_);
}

TEST_F(OpenConnectionsTest, OneThatIsBeingClosedGivesWayBeforeOneThatLives) {
    const auto one = open_.Admit("127.0.0.1");
    open_.SetSession(*one.place, first_);
    first_.reset();
    const auto two = open_.Admit("127.0.0.1");
    open_.SetSession(*two.place, second_);
    const auto three = open_.Admit("127.0.0.1");
    EXPECT_NE(three.place, nullptr);
    EXPECT_EQ(three.givesWay, nullptr);
}

TEST_F(OpenConnectionsTest, NoneGivesWayThatWorks) {
    const auto one = open_.Admit("127.0.0.1");
    open_.SetSession(*one.place, first_);
    one.place->Work();
    const auto two = open_.Admit("127.0.0.1");
    open_.SetSession(*two.place, second_);
    EXPECT_EQ(open_.Admit("127.0.0.1").givesWay, second_);
}

}  // namespace
}  // namespace corvenna::cloud
