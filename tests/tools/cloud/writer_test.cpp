#include "tools/cloud/store/writer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>

namespace corvenna::cloud {
namespace {

/// A database in which transactions have nothing to do.
class NoDatabase : public Connection {
public:
    const Dialect &Spelling() const override { throw std::logic_error("not asked for"); }
    void Begin() override {}
    void Commit() override {}
    void Rollback() noexcept override {}
    std::int64_t Run(const char * /*sql*/, Values /*values*/) override { return 0; }
    Rows Select(const char * /*sql*/, Values /*values*/) override { return Rows(nullptr); }
    std::optional<std::int64_t> Insert(const char * /*sql*/, Values /*values*/) override {
        return std::nullopt;
    }
    Rows Query(const std::string & /*sql*/, Values /*values*/) override { return Rows(nullptr); }
};

/// How often a chore without an end of its own is done beside jobs each of which brings the next.
int ChoresBeside(int jobs, StoreWriter::Clock::duration choresApart) {
    NoDatabase database;
    Metrics metrics;
    int chores = 0;
    std::promise<void> finished;  // outlives who keeps it
    {
        StoreWriter writer(
            database, metrics, [](const Subject &) {}, [] {},
            [&chores] {
                ++chores;
                return false;
            },
            choresApart);
        std::function<void(int)> post = [&](int left) {
            const auto next = [&, left](const std::exception_ptr &) {
                left > 1 ? post(left - 1) : finished.set_value();
            };
            writer.Post({{}, [] {}, next});
        };
        post(jobs);
        finished.get_future().wait();
    }
    return chores;
}

TEST(StoreWriter, DoesChoresAlsoWhereMoreWaitsAllTheTime) {
    constexpr int kJobs = 10;
    EXPECT_GE(ChoresBeside(kJobs, std::chrono::seconds(0)), kJobs - 1);
}

TEST(StoreWriter, HasNoTimeForChoresBetweenAnyTwoTransactions) {
    EXPECT_EQ(ChoresBeside(10, std::chrono::hours(1)), 1);
}

}  // namespace
}  // namespace corvenna::cloud
