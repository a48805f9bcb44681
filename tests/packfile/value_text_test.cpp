#include "packfile/value_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace corvenna::test {
namespace {

std::string ByFormat(double value) {
    char text[400];
    std::snprintf(text, sizeof text, "%.3lf", value);
    return text;
}

template <std::size_t Capacity>
std::string Printed(double value) {
    const ValueText<Capacity> text(value);
    EXPECT_EQ(std::strlen(text.Get()), text.Length());
    return text.Get();
}

double FromBits(std::uint64_t bits) {
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

struct Row {
    double value;
    const char *text;
};

class ValueRow : public testing::TestWithParam<Row> {};

TEST_P(ValueRow, IsTheTextOfTheFormat) {
    EXPECT_EQ(Printed<400>(GetParam().value), GetParam().text);
    EXPECT_EQ(ByFormat(GetParam().value), GetParam().text);
}

const double kInfinity = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Values, ValueRow,
    testing::Values(Row{0.0, "0.000"}, Row{-0.0, "-0.000"}, Row{1.0, "1.000"}, Row{-1.0, "-1.000"},
                    Row{229.87, "229.870"}, Row{0.0004, "0.000"}, Row{-0.0004, "-0.000"},
                    Row{0.0005, "0.001"},  // stored a little above the middle
                    Row{0.0625, "0.062"},  // the middle, exactly: to the even digit below
                    Row{0.1875, "0.188"},  // the middle, exactly: to the even digit above
                    Row{-0.0625, "-0.062"}, Row{1.0005, "1.000"}, Row{2.0015, "2.002"},
                    Row{0.9995, "1.000"}, Row{0.99951171875, "1.000"}, Row{999.9995, "1000.000"},
                    Row{9.9999, "10.000"}, Row{4294967295.9999, "4294967296.000"},
                    Row{4294967296.5, "4294967296.500"}, Row{12345678901.5, "12345678901.500"},
                    Row{9007199254740991.0, "9007199254740991.000"},
                    Row{9007199254740992.0, "9007199254740992.000"},
                    Row{4503599627370495.5, "4503599627370495.500"},
                    Row{18014398509481984.0, "18014398509481984.000"},
                    Row{1e22, "10000000000000000000000.000"},
                    Row{std::numeric_limits<double>::min(), "0.000"},
                    Row{std::numeric_limits<double>::denorm_min(), "0.000"},
                    Row{-std::numeric_limits<double>::denorm_min(), "-0.000"},
                    Row{kInfinity, "inf"}, Row{-kInfinity, "-inf"}));

TEST(ValueText, NotANumberKeepsItsSign) {
    EXPECT_EQ(Printed<15>(FromBits(0x7FF8000000000000)), "nan");
    EXPECT_EQ(Printed<15>(FromBits(0xFFF8000000000000)), "-nan");
    EXPECT_EQ(Printed<15>(FromBits(0x7FF0000000000001)), "nan");
}

TEST(ValueText, LargestDoubleHasAllItsDigits) {
    const double largest = std::numeric_limits<double>::max();
    EXPECT_EQ(Printed<400>(largest), ByFormat(largest));
    EXPECT_EQ(Printed<400>(-largest), ByFormat(-largest));
    EXPECT_EQ(Printed<400>(largest).size(), 313U);
}

TEST(ValueText, FourteenCharactersSurviveInRealData) {
    EXPECT_EQ(Printed<15>(1234567890.5), "1234567890.500");
    EXPECT_EQ(Printed<15>(12345678901.5), "12345678901.50");
    EXPECT_EQ(Printed<15>(-1234567890.5), "-1234567890.50");
    EXPECT_EQ(Printed<15>(12345678901234.5), "12345678901234");
    EXPECT_EQ(Printed<15>(1e300), "10000000000000");
}

TEST(ValueText, FortySixCharactersSurviveInAlarms) {
    EXPECT_EQ(Printed<47>(12345678901.5), "12345678901.500");
    EXPECT_EQ(Printed<47>(1e41), ByFormat(1e41));
    EXPECT_EQ(ByFormat(1e41).size(), 46U);
    EXPECT_EQ(Printed<47>(1e42), ByFormat(1e42).substr(0, 46));
    EXPECT_EQ(Printed<47>(-1e300), ByFormat(-1e300).substr(0, 46));
}

TEST(ValueText, OneByteHoldsAnEmptyText) {
    EXPECT_EQ(Printed<1>(1.5), "");
    EXPECT_EQ(Printed<1>(kInfinity), "");
}

void ExpectSameAsFormat(double value) {
    char ours[400];
    char theirs[400];
    PrintValue(value, ours, sizeof ours);
    std::snprintf(theirs, sizeof theirs, "%.3lf", value);
    ASSERT_STREQ(ours, theirs) << std::hexfloat << value;
}

TEST(ValueText, AnyBitPatternIsTheTextOfTheFormat) {
    std::mt19937_64 random(20240305);
    for (int i = 0; i < 150000; ++i) {
        ASSERT_NO_FATAL_FAILURE(ExpectSameAsFormat(FromBits(random())));
    }
}

TEST(ValueText, OrdinaryMagnitudesAreTheTextOfTheFormat) {
    std::mt19937_64 random(20240306);
    for (int i = 0; i < 600000; ++i) {
        const auto mantissa = static_cast<double>(static_cast<std::int64_t>(random()));
        const int exponent = static_cast<int>(random() % 90) - 85;  // 2^-22 to 2^67
        ASSERT_NO_FATAL_FAILURE(ExpectSameAsFormat(std::ldexp(mantissa, exponent)));
    }
}

TEST(ValueText, TiesAndTheirNeighboursAreTheTextOfTheFormat) {
    std::mt19937_64 random(20240307);
    for (int i = 0; i < 100000; ++i) {
        // Odd multiples of 1/16 and finer, as far as 2000 times a value can end in a half.
        const auto sixteenths = static_cast<double>(random() >> (random() % 52 + 12));
        const double tie = sixteenths / 16;
        ASSERT_NO_FATAL_FAILURE(ExpectSameAsFormat(tie));
        ASSERT_NO_FATAL_FAILURE(ExpectSameAsFormat(std::nextafter(tie, 0)));
        ASSERT_NO_FATAL_FAILURE(ExpectSameAsFormat(std::nextafter(tie, kInfinity)));
    }
}

TEST(ValueText, DecimalsOfThreeDigitsComeBackAsWritten) {
    for (int thousandths = 0; thousandths < 200000; ++thousandths) {
        char expected[32];
        std::snprintf(expected, sizeof expected, "%d.%03d", thousandths / 1000, thousandths % 1000);
        ASSERT_EQ(Printed<15>(thousandths / 1000.0), expected);
    }
}

TEST(ValueText, DecimalPointIsThatOfTheHostsLocale) {
    if (std::system("mkdir -p /tmp/locales && "
                    "localedef -i de_DE -f UTF-8 /tmp/locales/de_DE.UTF-8") != 0) {
        GTEST_SKIP() << "no locale can be made here";
    }
    setenv("LOCPATH", "/tmp/locales", 1);
    ASSERT_NE(std::setlocale(LC_NUMERIC, "de_DE.UTF-8"), nullptr);
    for (const double value : {0.0, -1.5, 229.87, 12345678901.5, 1e300, kInfinity}) {
        ExpectSameAsFormat(value);
        EXPECT_EQ(Printed<15>(value), ByFormat(value).substr(0, 14));
    }
    EXPECT_EQ(Printed<15>(229.87), "229,870");
}

TEST(DataIdText, HasEveryByteAtEveryPlace) {
    for (std::uint32_t byte = 0; byte <= 0xFF; ++byte) {
        for (const unsigned place : {0U, 8U, 16U, 24U}) {
            char expected[9];
            std::snprintf(expected, sizeof expected, "%08x", byte << place);
            ASSERT_STREQ(DataIdText(byte << place).Get(), expected);
        }
    }
}

TEST(DataIdText, IsEightLowerCaseHexadecimalDigits) {
    EXPECT_STREQ(DataIdText(0).Get(), "00000000");
    EXPECT_STREQ(DataIdText(0x02010100).Get(), "02010100");
    EXPECT_STREQ(DataIdText(0xFEDCBA98).Get(), "fedcba98");
    EXPECT_STREQ(DataIdText(0xFFFFFFFF).Get(), "ffffffff");
}

}  // namespace
}  // namespace corvenna::test
