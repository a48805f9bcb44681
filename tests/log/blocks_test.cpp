#include "log/blocks.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/log/pages.h"

namespace corvenna::test {
namespace {

void Put(Blocks &blocks, const std::string &text) {
    ASSERT_TRUE(blocks.Reserve(text.size()));
    blocks.Put(text.data(), text.size());
}

std::string Take(Blocks &blocks, std::size_t size) {
    std::string text(size, '\0');
    blocks.Take(text.data(), size);
    return text;
}

/// Puts until it does not fit. @return how many bytes did.
std::size_t Fill(Blocks &blocks, std::size_t size) {
    const std::string text(size, 'f');
    std::size_t bytes = 0;
    while (blocks.Reserve(size)) {
        blocks.Put(text.data(), size);
        bytes += size;
    }
    return bytes;
}

TEST(Blocks, GiveBytesInTheOrderInWhichTheyWerePut) {
    for (const std::size_t size : {1U, 7U, 38U, 2085U, 32768U}) {
        Blocks blocks;
        std::string expected;
        for (char letter = 'a'; letter <= 'z'; ++letter) {
            const std::string text(size, letter);
            Put(blocks, text);
            expected += text;
        }
        EXPECT_EQ(expected, Take(blocks, expected.size())) << size;
    }
}

TEST(Blocks, GiveBackWhatWasReservedAndNeverUsed) {
    const std::size_t before = Pages::HeldBytes();
    {
        Blocks blocks;
        Put(blocks, std::string(Blocks::kBlockBytes / 2, 'a'));
        ASSERT_TRUE(blocks.Reserve(Blocks::kBlockBytes / 2));
        EXPECT_EQ(before + 2 * Blocks::kBlockBytes, Pages::HeldBytes());
    }
    EXPECT_EQ(before, Pages::HeldBytes());
}

TEST(Blocks, ReserveNoOtherWhereOneIsReservedAlready) {
    const std::size_t before = Pages::HeldBytes();
    Blocks blocks;
    Put(blocks, std::string(Blocks::kBlockBytes / 2, 'a'));
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(blocks.Reserve(Blocks::kBlockBytes / 2));
    }
    EXPECT_EQ(before + 2 * Blocks::kBlockBytes, Pages::HeldBytes());
}

TEST(Blocks, MayBeReadWhileTheyGrow) {
    Blocks blocks;
    std::string put;
    std::string taken;
    for (unsigned i = 0; i < 5000; ++i) {
        const std::string text(i % 300, static_cast<char>('a' + i % 26));
        Put(blocks, text);
        put += text;
        const std::size_t size = i % 2 * ((put.size() - taken.size()) * (i % 7) / 6);
        taken += Take(blocks, size);
    }
    taken += Take(blocks, put.size() - taken.size());
    EXPECT_EQ(put, taken);
}

TEST(Blocks, HoldSixteenMebibytesAndNotABlockMore) {
    Blocks blocks;
    const std::size_t bytes = Fill(blocks, 1000);
    EXPECT_EQ(16777216U, Pages::HeldBytes());
    EXPECT_GT(bytes, 16777216U - 256 * sizeof(void *) - 1000);
    EXPECT_TRUE(blocks.Reserve(1)) << "what still fits is taken";
}

TEST(Blocks, TakeMoreAgainWhenSomeHasBeenRead) {
    Blocks blocks;
    Fill(blocks, 1000);
    EXPECT_FALSE(blocks.Reserve(1000));
    Take(blocks, 2 * Blocks::kBlockBytes);
    EXPECT_TRUE(blocks.Reserve(1000));
    EXPECT_EQ(16777216U, Pages::MostHeldBytes());
}

TEST(Blocks, KeepFortyEightForTheNextBurstWhenTheyAreEmpty) {
    Blocks blocks;
    Take(blocks, Fill(blocks, 1000));
    EXPECT_EQ(49 * Blocks::kBlockBytes, Pages::HeldBytes()) << "and the one at hand";
    Fill(blocks, 1000);
    EXPECT_EQ(16777216U, Pages::MostHeldBytes());
    blocks.Clear();
    EXPECT_EQ(49 * Blocks::kBlockBytes, Pages::HeldBytes());
    Put(blocks, "next");
    EXPECT_EQ("next", Take(blocks, 4));
}

TEST(Blocks, GiveSpareOnesBackOneByOne) {
    Blocks blocks;
    Take(blocks, Fill(blocks, 1000));
    for (std::size_t left = 48; left > 0; --left) {
        blocks.GiveBackSpare();
        EXPECT_EQ(left * Blocks::kBlockBytes, Pages::HeldBytes());
    }
    blocks.GiveBackSpare();
    EXPECT_EQ(Blocks::kBlockBytes, Pages::HeldBytes()) << "the one at hand stays";
    Put(blocks, "next");
    EXPECT_EQ("next", Take(blocks, 4));
}

TEST(Blocks, GiveBackEverythingInTheEnd) {
    {
        Blocks blocks;
        Fill(blocks, 1000);
        const Blocks unused;
    }
    EXPECT_EQ(0U, Pages::HeldBytes());
}

TEST(Blocks, WithoutMemoryNothingChanges) {
    Blocks blocks;
    Pages::Refuse(true);
    EXPECT_FALSE(blocks.Reserve(1));
    Pages::Refuse(false);
    Put(blocks, "first");
    Put(blocks, std::string(Blocks::kBlockBytes / 2, 'x'));
    Pages::Refuse(true);
    EXPECT_FALSE(blocks.Reserve(Blocks::kBlockBytes / 2));
    EXPECT_TRUE(blocks.Reserve(100)) << "the block at hand has room";
    Pages::Refuse(false);
    Put(blocks, std::string(Blocks::kBlockBytes / 2, 'y'));
    EXPECT_EQ("first", Take(blocks, 5));
    EXPECT_EQ(std::string(Blocks::kBlockBytes / 2, 'x'), Take(blocks, Blocks::kBlockBytes / 2));
    EXPECT_EQ(std::string(Blocks::kBlockBytes / 2, 'y'), Take(blocks, Blocks::kBlockBytes / 2));
}

TEST(Blocks, ReuseTheSameBlocksAgainAndAgain) {
    Blocks blocks;
    for (int round = 0; round < 1000; ++round) {
        Put(blocks, std::string(30000, 'r'));
        Take(blocks, 30000);
    }
    EXPECT_EQ(Blocks::kBlockBytes, Pages::MostHeldBytes());
}

}  // namespace
}  // namespace corvenna::test
