// What becomes of documents when memory is short: they are whole, or there is none.

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <pthread.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/xml.h"
#include "base/xml_tree.h"
#include "tests/support/failing_allocations.h"

namespace corvenna::test {
namespace {

class WithoutMemory : public testing::TestWithParam<Failing> {
protected:
    WithoutMemory() { const XmlGuard ready; }

    /// Calls build(), which either gives true or throws, once for each of its allocations: it never
    /// succeeds, keeps nothing and says nothing.
    template <class Build>
    static void ExpectAllOrNothing(Build build) {
        EXPECT_TRUE(build());
        ThrowOnce();
        testing::internal::CaptureStderr();
        const std::ptrdiff_t before = LiveBlocks();
        std::ptrdiff_t after = 0;
        bool succeeded = false;
        const std::size_t attempts = FailEachAllocation(
            GetParam(), [&] { succeeded = false; },
            [&] {
                try {
                    succeeded = build();
                } catch (const std::bad_alloc &) {
                }
                after = LiveBlocks();
            },
            [&] {
                EXPECT_FALSE(succeeded);
                EXPECT_EQ(before, after);
            });
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
        EXPECT_GE(attempts, 3U);
    }

    /// The first exception of a process makes what all later ones use.
    static void ThrowOnce() {
        try {
            throw std::bad_alloc();
        } catch (const std::bad_alloc &) {
        }
    }
};

TEST_P(WithoutMemory, NoDictionaryLacksAName) {
    ExpectAllOrNothing([] {
        xmlDictFree(MakeXmlNames({"one", "two"}));
        return true;
    });
}

bool BuildTree() {
    static xmlDict *const kNames = MakeXmlNames({"data", "node", "name"});
    const std::string text(100, 'x');
    XmlTree tree(kNames);
    const XmlGuard guard;
    xmlNode *node = AddElement(tree.Root(), "node");
    AddAttribute(node, "name", text.c_str());
    AddAttribute(AddElement(node, "node"), "name", "");
    return FromXml(node->properties->children->content) == text;
}

TEST_P(WithoutMemory, NoTreeLacksAPart) {
    ExpectAllOrNothing(BuildTree);
}

TEST_P(WithoutMemory, NoGuardIsHalfTaken) {
    std::thread([] {
        ExpectAllOrNothing([] {
            const std::string allocation(100, 'x');
            const XmlGuard guard;
            return std::vector<std::string>{allocation, allocation}.size() == 2;
        });
    }).join();
    CleanUpXml();
}

TEST_P(WithoutMemory, ACleanUpLeavesTheLibraryReady) {
    std::thread([] {
        FailEachAllocation(
            GetParam(), [] {}, CleanUpXml,
            [] {
                EXPECT_TRUE(BuildTree());
                std::thread([] { EXPECT_TRUE(BuildTree()); }).join();
            });
    }).join();
}

// What a clean-up could not make ready again, a guard does, or it is not taken.
TEST(WithoutMemoryForLong, NoGuardIsTakenOfALibraryThatIsNotReady) {
    { const XmlGuard ready; }
    std::thread([] {
        std::size_t refused = 0;
        FailEachAllocation(
            Failing::kFromThereOn, [] {},
            [&refused] {
                CleanUpXml();
                try {
                    const XmlGuard guard;
                } catch (const std::bad_alloc &) {
                    ++refused;
                }
            },
            [] { EXPECT_TRUE(BuildTree()); });
        EXPECT_LT(0U, refused);
    }).join();
}

INSTANTIATE_TEST_SUITE_P(Allocations, WithoutMemory,
                         testing::Values(Failing::kOne, Failing::kFromThereOn),
                         [](const auto &failing) {
                             return failing.param == Failing::kOne ? "One" : "FromThereOn";
                         });

/// Does something when it is told to, on a thread of its own, and waits until it is done.
class OtherThread {
public:
    explicit OtherThread(std::function<void()> work)
        : work_(std::move(work)), thread_([this] { Run(); }) {}
    ~OtherThread() {
        Tell(State::kEnd);
        thread_.join();
    }
    void Work() {
        Tell(State::kWork);
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return state_ == State::kIdle; });
    }

private:
    enum class State { kIdle, kWork, kEnd };

    void Tell(State state) {
        const std::lock_guard<std::mutex> lock(mutex_);
        state_ = state;
        changed_.notify_all();
    }
    void Run() {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return state_ != State::kIdle; });
            if (state_ == State::kEnd) {
                return;
            }
            work_();
            state_ = State::kIdle;
            changed_.notify_all();
        }
    }

    std::function<void()> work_;
    std::mutex mutex_;
    std::condition_variable changed_;
    State state_ = State::kIdle;
    std::thread thread_;
};

// libxml2's clean-up loses what it keeps for each living thread: 976 bytes a time on 64 bits.
TEST(CleanUpXml, LosesNoMemoryOfLivingThreads) {
    OtherThread one([] { EXPECT_TRUE(BuildTree()); });
    OtherThread two([] {
        EXPECT_TRUE(BuildTree());
        CleanUpXml();
    });
    const auto round = [&] {
        one.Work();
        CleanUpXml();
        two.Work();
        EXPECT_TRUE(BuildTree());
    };
    round();
    const std::ptrdiff_t before = LiveBlocks();
    for (int i = 0; i < 100; ++i) {
        round();
    }
    EXPECT_EQ(before, LiveBlocks());
}

/// A host that cleans up by itself, on a thread of its own, and so that libxml2's next key has
/// another number than before: one that is high enough for a thread's values of it to take memory.
class CleaningHost {
public:
    CleaningHost() {
        for (int i = 0; i < kKeysWithoutMemory; ++i) {
            MakeKey();
        }
        host_.Work();
    }
    void CleanUp() { host_.Work(); }

private:
    static constexpr int kKeysWithoutMemory = 32;

    static void MakeKey() {
        pthread_key_t key = 0;
        EXPECT_EQ(0, pthread_key_create(&key, nullptr));
    }

    OtherThread host_{[] {
        xmlCleanupParser();
        MakeKey();
        xmlInitParser();  // not by a guard, which would notice
    }};
};

/// @return whether a guard could be taken; its state is then its own.
bool TakeGuard() {
    try {
        const xmlGlobalState *used = nullptr;
        {
            const XmlGuard guard;
            used = xmlGetGlobalState();
        }
        EXPECT_NE(used, xmlGetGlobalState()) << "which the thread keeps";
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

TEST(CleanUpXml, ByTheHostLeavesNoGuardHalfTakenWithoutMemory) {
    { const XmlGuard ready; }
    CleaningHost host;
    int refused = 0;
    bool happened = true;
    for (std::size_t number = 1; happened; ++number) {
        host.CleanUp();
        std::thread([number, &refused, &happened] {
            {
                const FailingAllocations failure(number, Failing::kOne);
                refused += TakeGuard() ? 0 : 1;
                happened = failure.Happened();
            }
            EXPECT_TRUE(BuildTree()) << number;
        }).join();
    }
    constexpr int kOwnStateAndTwoTries = 3;
    EXPECT_EQ(kOwnStateAndTwoTries, refused);
}

// libxml2, where it finds no state of a thread's and no memory for one, calls itself to say so
// until the stack is full. What it is going to take is tried before it is asked.
TEST(CleanUpXml, ByTheHostEndsNoThreadThatLastsWithoutMemory) {
    { const XmlGuard ready; }
    CleaningHost host;
    constexpr std::size_t kBeforeIt = 3;
    for (std::size_t first = 1; first <= kBeforeIt; ++first) {
        host.CleanUp();
        std::thread([first] {
            {
                const FailingAllocations failure(first, Failing::kFromThereOn);
                EXPECT_FALSE(TakeGuard());
            }
            EXPECT_TRUE(BuildTree()) << first;
        }).join();
    }
}

TEST(CleanUpXml, ByTheHostMayComeRightBeforeOurs) {
    { const XmlGuard ready; }
    CleaningHost host;
    for (int i = 0; i < 3; ++i) {
        host.CleanUp();
        std::thread([] {
            CleanUpXml();
            EXPECT_TRUE(BuildTree());
        }).join();
    }
}

// The host may clean up by itself; a thread then has another key.
TEST(CleanUpXml, ByTheHostIsNoticed) {
    OtherThread other([] { EXPECT_TRUE(BuildTree()); });
    other.Work();
    for (int i = 0; i < 3; ++i) {
        xmlCleanupParser();
        pthread_key_t key = 0;
        ASSERT_EQ(0, pthread_key_create(&key, nullptr)) << "takes the place of the one before";
        EXPECT_TRUE(BuildTree());
        other.Work();
        std::thread([] { EXPECT_TRUE(BuildTree()); }).join();
        pthread_key_delete(key);
    }
}

}  // namespace
}  // namespace corvenna::test
