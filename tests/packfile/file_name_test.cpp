#include "packfile/file_name.h"

#include <gtest/gtest.h>

#include <string>

namespace corvenna::test {
namespace {

std::tm SampleTime() {
    std::tm time{};
    time.tm_year = 124;
    time.tm_mon = 2;
    time.tm_mday = 5;
    time.tm_hour = 7;
    time.tm_min = 8;
    time.tm_sec = 9;
    return time;
}

std::string PathIn(const std::string &dir) {
    return PrintFilePath(DataKind::kRealJson, true, dir.c_str(), SampleTime()).text;
}

struct Row {
    DataKind kind;
    bool compressed;
    const char *path;
};

class FileName : public testing::TestWithParam<Row> {};

TEST_P(FileName, TellsKindTimeFormatAndCompression) {
    const Row &row = GetParam();
    EXPECT_STREQ(PrintFilePath(row.kind, row.compressed, "/tmp/up", SampleTime()).text, row.path);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FileName,
    testing::Values(Row{DataKind::kRealJson, false, "/tmp/up/S20240305070809.json"},
                    Row{DataKind::kRealJson, true, "/tmp/up/S20240305070809.jsonz"},
                    Row{DataKind::kRealXml, false, "/tmp/up/S20240305070809.xml"},
                    Row{DataKind::kRealXml, true, "/tmp/up/S20240305070809.xmlz"},
                    Row{DataKind::kAlarmJson, false, "/tmp/up/T20240305070809.json"},
                    Row{DataKind::kAlarmJson, true, "/tmp/up/T20240305070809.jsonz"},
                    Row{DataKind::kAlarmXml, false, "/tmp/up/T20240305070809.xml"},
                    Row{DataKind::kAlarmXml, true, "/tmp/up/T20240305070809.xmlz"}));

class DirLength : public testing::TestWithParam<std::size_t> {};

TEST_P(DirLength, PathKeepsAtMost127Characters) {
    const std::string dir(GetParam(), 'd');
    const std::string whole = dir + "/S20240305070809.jsonz";
    EXPECT_EQ(PathIn(dir), whole.substr(0, 127));
}

INSTANTIATE_TEST_SUITE_P(Lengths, DirLength,
                         testing::Values(0, 1, 103, 104, 105, 106, 107, 125, 126, 127, 128, 5000));

TEST(FilePath, OfExactly127CharactersIsWhole) {
    EXPECT_EQ(PathIn(std::string(105, 'd')), std::string(105, 'd') + "/S20240305070809.jsonz");
    EXPECT_EQ(PathIn(std::string(106, 'd')), std::string(106, 'd') + "/S20240305070809.json");
}

TEST(FilePath, YearsAreFilledToFourDigits) {
    std::tm time = SampleTime();
    time.tm_year = 37 - 1900;
    EXPECT_STREQ(PrintFilePath(DataKind::kRealXml, false, "", time).text, "/S00370305070809.xml");
}

}  // namespace
}  // namespace corvenna::test
