#include "packfile/packfile.h"

#include <gtest/gtest.h>

#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

struct TypeRow {
    const char *fileType;
    const char *extension;  ///< empty: nothing is written
};

const TypeRow kTypes[] = {{"json", ".json"}, {"jsonx", ".json"}, {"json xml", ".json"},
                          {"xml", ".xml"},   {"xmlfoo", ".xml"}, {"JSON", ""},
                          {"Json", ""},      {"XML", ""},        {"jso", ""},
                          {"xm", ""},        {" json", ""},      {"", ""},
                          {"csv", ""}};

class EntryPoints : public PackingTest {
protected:
    void ExpectNothing(std::int32_t result, const char *fileType) {
        EXPECT_EQ(result, -1) << fileType;
        EXPECT_TRUE(files_.empty()) << fileType;
        EXPECT_TRUE(ListFolder(dir_).empty()) << fileType;
        EXPECT_TRUE(log_.Text().empty()) << fileType;
    }

    void ExpectOne(std::int32_t result, const TypeRow &row) {
        EXPECT_GE(result, 0) << row.fileType;
        ASSERT_EQ(files_.size(), 1U) << row.fileType;
        EXPECT_EQ(files_[0].substr(files_[0].rfind('.')), row.extension) << row.fileType;
        files_.clear();
    }

    void ExpectRefused(std::int32_t result, const std::string &writer) {
        EXPECT_EQ(result, -1);
        ASSERT_FALSE(log_.Text().empty());
        EXPECT_EQ(log_.Text().back(), (LogEntry{5, writer + ": null argument"}));
        EXPECT_TRUE(ListFolder(dir_).empty());
    }
};

TEST_F(EntryPoints, RealDataFormatIsAPrefixOfTheFileType) {
    for (const TypeRow &row : kTypes) {
        if (*row.extension != '\0') {
            Configure(row.fileType);
            ASSERT_NO_FATAL_FAILURE(ExpectOne(CreateRealData(), row));
        }
    }
}

TEST_F(EntryPoints, AlarmDataFormatIsAPrefixOfTheFileType) {
    for (const TypeRow &row : kTypes) {
        if (*row.extension != '\0') {
            Configure(row.fileType);
            ASSERT_NO_FATAL_FAILURE(ExpectOne(CreateAlarmData(), row));
        }
    }
}

TEST_F(EntryPoints, UnknownFileTypeIsRefusedSilently) {
    for (const TypeRow &row : kTypes) {
        if (*row.extension == '\0') {
            Configure(row.fileType);
            ExpectNothing(CreateRealData(), row.fileType);
            ExpectNothing(CreateAlarmData(), row.fileType);
        }
    }
}

TEST_F(EntryPoints, SettingsAreReadAtEachCall) {
    Configure("json");
    CreateRealData();
    Configure("xml", true);
    CreateRealData();
    Configure("json", true, 7);
    ForwardTables()[7][192][1] = {{"forwarded", 0xC0010001}};
    CreateRealData();
    ASSERT_EQ(files_.size(), 3U);
    EXPECT_EQ(files_[0], "/tmp/up/S20240305070809.json");
    EXPECT_EQ(files_[1], "/tmp/up/S20240305070809.xmlz");
    EXPECT_EQ(files_[2], "/tmp/up/S20240305070809.jsonz");
    EXPECT_NE(Inflate(ReadFile(files_[2])).find("forwarded"), std::string::npos);
}

TEST_F(EntryPoints, EarlierEntriesOfTheListStay) {
    Configure("json");
    files_ = {"earlier"};
    CreateRealData();
    CreateAlarmData();
    ASSERT_EQ(files_.size(), 3U);
    EXPECT_EQ(files_[0], "earlier");
}

TEST_F(EntryPoints, DirectoryIsTakenAsGiven) {
    Configure("json");
    dir_ = "/tmp/up/";
    CreateRealData();
    ASSERT_EQ(files_.size(), 1U);
    EXPECT_EQ(files_[0], "/tmp/up//S20240305070809.json");
}

TEST_F(EntryPoints, NullArgumentsOfRealDataAreRefused) {
    for (const char *type : {"json", "xml"}) {
        Configure(type);
        const std::string writer =
            type[0] == 'j' ? "CreateRealDataJsonFile" : "CreateRealDataXmlFile";
        ExpectRefused(CreateRealDataFile(nullptr, dir_.data(), &files_, kSampleTime), writer);
        ExpectRefused(CreateRealDataFile(&values_, nullptr, &files_, kSampleTime), writer);
        ExpectRefused(CreateRealDataFile(&values_, dir_.data(), nullptr, kSampleTime), writer);
    }
    EXPECT_EQ(log_.Text().size(), 6U);
}

TEST_F(EntryPoints, NullArgumentsOfAlarmDataAreRefused) {
    for (const char *type : {"json", "xml"}) {
        Configure(type);
        const std::string writer =
            type[0] == 'j' ? "CreateAlarmDataJsonFile" : "CreateAlarmDataXmlFile";
        ExpectRefused(CreateAlarmDataFile(nullptr, dir_.data(), &files_), writer);
        ExpectRefused(CreateAlarmDataFile(&alarms_, nullptr, &files_), writer);
        ExpectRefused(CreateAlarmDataFile(&alarms_, dir_.data(), nullptr), writer);
    }
    EXPECT_EQ(log_.Text().size(), 6U);
}

class PointValue : public PackingTest {};

TEST_F(PointValue, IsTheHostsValue) {
    values_ = {{1, 0.5}, {3, -7.25}, {0xFFFFFFFF, 9}};
    EXPECT_EQ(GetCPackFileInstance()->GetPointValue(1, &values_), 0.5);
    EXPECT_EQ(GetCPackFileInstance()->GetPointValue(3, &values_), -7.25);
    EXPECT_EQ(GetCPackFileInstance()->GetPointValue(0xFFFFFFFF, &values_), 9);
}

TEST_F(PointValue, OfAnAbsentIdIsMinusOne) {
    EXPECT_EQ(GetCPackFileInstance()->GetPointValue(2, &values_), -1.0);
    values_ = {{1, 0.5}, {3, -7.25}};
    for (const unsigned id : {0U, 2U, 4U, 0xFFFFFFFFU}) {
        EXPECT_EQ(GetCPackFileInstance()->GetPointValue(id, &values_), -1.0);
    }
}

TEST_F(PointValue, OfNoMapIsMinusOneAndAnError) {
    EXPECT_EQ(GetCPackFileInstance()->GetPointValue(2, nullptr), -1.0);
    EXPECT_EQ(log_.Text(), (std::vector<LogEntry>{{5, "GetPointValue: null argument"}}));
}

}  // namespace
}  // namespace corvenna::test
