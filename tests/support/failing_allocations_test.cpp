#include "tests/support/failing_allocations.h"

#include <gtest/gtest.h>
#include <libxml/tree.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <thread>

namespace corvenna::test {
namespace {

TEST(FailingAllocations, OneFailsAndTheOthersDoNot) {
    const FailingAllocations failure(2, Failing::kOne);
    const std::unique_ptr<void, decltype(&free)> first(malloc(1), free);
    const std::unique_ptr<void, decltype(&free)> second(malloc(1), free);
    const std::unique_ptr<void, decltype(&free)> third(malloc(1), free);
    EXPECT_NE(nullptr, first);
    EXPECT_EQ(nullptr, second);
    EXPECT_NE(nullptr, third);
    EXPECT_TRUE(failure.Happened());
}

TEST(FailingAllocations, FromThereOnAllFail) {
    const FailingAllocations failure(2, Failing::kFromThereOn);
    const std::unique_ptr<void, decltype(&free)> first(malloc(1), free);
    const std::unique_ptr<void, decltype(&free)> second(malloc(1), free);
    const std::unique_ptr<void, decltype(&free)> third(malloc(1), free);
    EXPECT_NE(nullptr, first);
    EXPECT_EQ(nullptr, second);
    EXPECT_EQ(nullptr, third);
}

TEST(FailingAllocations, AFailureTellsTheReason) {
    const FailingAllocations failure(1, Failing::kOne);
    errno = 0;
    void *const block = malloc(1);
    const int reason = errno;
    free(block);
    EXPECT_EQ(nullptr, block);
    EXPECT_EQ(ENOMEM, reason);
}

TEST(FailingAllocations, EveryKindOfAllocationFails) {
    void *block = nullptr;
    void *results[4];
    int aligned = 0;
    {
        const FailingAllocations failure(1, Failing::kFromThereOn);
        results[0] = malloc(1);
        results[1] = calloc(1, 1);
        results[2] = realloc(nullptr, 1000);
        results[3] = aligned_alloc(16, 16);
        aligned = posix_memalign(&block, 16, 16);
    }
    for (void *const result : results) {
        EXPECT_EQ(nullptr, result);
    }
    EXPECT_EQ(ENOMEM, aligned);
}

TEST(FailingAllocations, NewThrows) {
    std::unique_ptr<int> number;
    bool thrown = false;
    {
        const FailingAllocations failure(1, Failing::kOne);
        try {
            number = std::make_unique<int>(1);
        } catch (const std::bad_alloc &) {
            thrown = true;
        }
    }
    EXPECT_TRUE(thrown);
}

TEST(FailingAllocations, LibrariesOfTheProcessMeetThemToo) {
    const FailingAllocations failure(1, Failing::kOne);
    xmlChar *const copy = xmlStrdup(reinterpret_cast<const xmlChar *>("text"));
    EXPECT_EQ(nullptr, copy);
    EXPECT_TRUE(failure.Happened());
    xmlFree(copy);
}

TEST(FailingAllocations, AnotherThreadIsLeftAlone) {
    bool allocated = false;
    std::atomic<bool> failing{false};
    std::thread other([&] {
        while (!failing) {
            std::this_thread::yield();
        }
        void *const block = malloc(1);
        allocated = block != nullptr;
        free(block);
    });
    {
        const FailingAllocations failure(1, Failing::kFromThereOn);
        failing = true;
        other.join();
    }
    EXPECT_TRUE(allocated);
}

TEST(FailingAllocations, OtherCallsFailInTheirTurn) {
    const FailingAllocations failure(2, Failing::kOne);
    free(malloc(1));
    const bool second = CallFails("second");
    const bool third = CallFails("third");
    EXPECT_TRUE(second);
    EXPECT_FALSE(third);
    EXPECT_STREQ("second", LastFailedCall());
}

TEST(FailingAllocations, ASweepFailsEachAllocationOnce) {
    int attempts = 0;
    int checks = 0;
    const std::size_t failed = FailEachAllocation(
        Failing::kOne, [] {},
        [&] {
            ++attempts;
            for (int i = 0; i < 3; ++i) {
                free(malloc(1));
            }
        },
        [&] { ++checks; });
    EXPECT_EQ(3U, failed);
    EXPECT_EQ(3, checks);
    EXPECT_EQ(4, attempts);
}

TEST(FailingAllocations, LiveBlocksTellWhatIsKept) {
    const std::ptrdiff_t before = LiveBlocks();
    void *const block = malloc(1);
    const std::ptrdiff_t held = LiveBlocks();
    free(block);
    EXPECT_EQ(before + 1, held);
    EXPECT_EQ(before, LiveBlocks());
}

TEST(FailingAllocations, AFailedGrowthKeepsTheOldBlock) {
    char *const volatile block = static_cast<char *>(malloc(8));
    ASSERT_NE(nullptr, block);
    std::memcpy(block, "content", 8);
    void *grown = nullptr;
    {
        const FailingAllocations failure(1, Failing::kOne);
        grown = realloc(block, 1U << 20);
    }
    EXPECT_EQ(nullptr, grown);
    EXPECT_STREQ("content", block);
    free(block);
}

}  // namespace
}  // namespace corvenna::test
