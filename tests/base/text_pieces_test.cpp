#include "base/text_pieces.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace corvenna::test {
namespace {

constexpr std::size_t kRun = TextPieces::kLongestRun;

std::vector<std::size_t> PieceLengths(TextPieces &text) {
    std::vector<std::size_t> lengths;
    EXPECT_TRUE(text.ForEach([&lengths](std::string_view piece) {
        lengths.push_back(piece.size());
        return true;
    }));
    return lengths;
}

std::string Whole(TextPieces &text) {
    std::string whole;
    text.ForEach([&whole](std::string_view piece) {
        whole += piece;
        return true;
    });
    return whole;
}

/// Text in which no stretch repeats soon.
std::string Numbers(std::size_t length) {
    std::string text;
    for (int number = 0; text.size() < length; ++number) {
        text += std::to_string(number) + ' ';
    }
    text.resize(length);
    return text;
}

TEST(TextPieces, WithoutTextIsEmptyAndJoinsToAnEmptyText) {
    TextPieces text;
    EXPECT_EQ(text.Length(), 0U);
    EXPECT_STREQ(text.Join(), "");
    EXPECT_EQ(text.Length(), 0U);
}

TEST(TextPieces, ARunIsOnePieceWhereItFits) {
    TextPieces text;
    text.Append(std::string(kRun - 1, 'a'));
    text.Append("b");
    EXPECT_EQ(PieceLengths(text), std::vector<std::size_t>{kRun});
    text.Append("c");
    EXPECT_EQ(PieceLengths(text), (std::vector<std::size_t>{kRun, 1}));
}

TEST(TextPieces, ARunThatDoesNotFitBeginsAPiece) {
    TextPieces text;
    text.Append(std::string(kRun - 1, 'a'));
    text.Append("bc");
    EXPECT_EQ(PieceLengths(text), (std::vector<std::size_t>{kRun - 1, 2}));
    EXPECT_EQ(text.Length(), kRun + 1);
}

TEST(TextPieces, LongerRunsAreDivided) {
    TextPieces text;
    const std::string content = Numbers(2 * kRun + 7);
    text.Append(content);
    EXPECT_EQ(PieceLengths(text), (std::vector<std::size_t>{kRun, kRun, 7}));
    EXPECT_EQ(Whole(text), content);
}

TEST(TextPieces, OnlyWhatIsTakenOfARoomCounts) {
    TextPieces text;
    char *room = text.Room(100);
    room[0] = 'a';
    room[1] = 'b';
    text.Take(room + 2);
    EXPECT_EQ(Whole(text), "ab");
    EXPECT_EQ(text.Room(50), room + 2);
}

TEST(TextPieces, AVisitEndsWhereItIsRefused) {
    TextPieces text;
    text.Append(std::string(3 * kRun, 'a'));
    int visits = 0;
    EXPECT_FALSE(text.ForEach([&visits](std::string_view) { return ++visits < 2; }));
    EXPECT_EQ(visits, 2);
}

TEST(TextPieces, JoinedIsOneTextAndANul) {
    for (const std::size_t length :
         {std::size_t{1}, kRun - 1, kRun, kRun + 1, 3 * kRun, 5 * kRun + 11}) {
        TextPieces text;
        const std::string content = Numbers(length);
        for (std::size_t at = 0; at < length; at += 1000) {
            text.Append(std::string_view(content).substr(at, 1000));
        }
        EXPECT_EQ(std::string(text.Join()), content) << length;
        EXPECT_EQ(PieceLengths(text), std::vector<std::size_t>{length});
        EXPECT_EQ(text.Length(), length);
    }
}

TEST(TextPieces, MayBeAddedToAfterItWasJoined) {
    TextPieces text;
    text.Append("first");
    text.Join();
    text.Append(" second");
    EXPECT_EQ(Whole(text), "first second");
    EXPECT_STREQ(text.Join(), "first second");
}

}  // namespace
}  // namespace corvenna::test
