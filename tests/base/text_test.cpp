#include "base/text.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace corvenna::test {
namespace {

TEST(CopyText, KeepsOneCharacterLessThanTheLimit) {
    for (const std::size_t length : {0U, 1U, 5U, 6U, 7U, 8U, 100U}) {
        const std::string text(length, 'x');
        char field[8];
        std::memset(field, '#', sizeof field);
        CopyText<7>(field, text.c_str());
        EXPECT_EQ(text.substr(0, 6), field) << length;
        EXPECT_EQ('#', field[7]) << "nothing is written at or behind the limit";
    }
}

TEST(CopyText, OfTheWholeFieldFillsIt) {
    char field[4];
    CopyText<4>(field, "abcd");
    EXPECT_STREQ("abc", field);
}

TEST(CopyText, OfLimitOneIsEmpty) {
    char field[4] = "old";
    CopyText<1>(field, "new");
    EXPECT_STREQ("", field);
}

TEST(CopyText, ReadsNothingBehindTheTextsEnd) {
    char field[64];
    const std::string text = "short";
    CopyText<64>(field, text.c_str());
    EXPECT_STREQ("short", field);
}

TEST(PrintText, KeepsOneCharacterLessThanTheLimit) {
    char field[8];
    PrintText(UpTo<6>(field), "%d", 12345);
    EXPECT_STREQ("12345", field);
    PrintText(UpTo<6>(field), "%d", 123456);
    EXPECT_STREQ("12345", field);
}

TEST(Decimal, TakesBlanksAndASignAndStopsAtTheFirstOtherCharacter) {
    const struct {
        const char *text;
        long value;
    } kRows[] = {{"0", 0},     {"12", 12}, {" \t\n12", 12}, {"+7", 7},   {"-7", -7},
                 {"12x3", 12}, {"1.9", 1}, {"0x10", 0},     {"010", 10}, {"abc", 0},
                 {"", 0},      {"-", 0},   {"- 5", 0},      {"1e3", 1},  {"1 2", 1}};
    for (const auto &row : kRows) {
        EXPECT_EQ(row.value, Decimal(row.text)) << row.text;
    }
}

TEST(Decimal, StopsAtTheEndsOfItsRange) {
    EXPECT_EQ(LONG_MAX, Decimal("99999999999999999999"));
    EXPECT_EQ(LONG_MIN, Decimal("-99999999999999999999"));
}

TEST(DecimalText, HoldsEveryNumber) {
    EXPECT_STREQ("0", DecimalText(0).Get());
    EXPECT_STREQ("2147483647", DecimalText(INT_MAX).Get());
    EXPECT_STREQ("-2147483648", DecimalText(INT_MIN).Get());
}

}  // namespace
}  // namespace corvenna::test
