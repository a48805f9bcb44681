#include "message/parse_memory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/sys_set.h"
#include "tests/message/answers.h"
#include "tests/support/log_capture.h"

namespace corvenna::test {
namespace {

int Length(const std::string &text) {
    return static_cast<int>(text.size());
}

class Parse : public testing::Test {
public:
    void SetUp() override {
        setenv("TZ", "UTC0", 1);
        tzset();
    }

    int Gateway(const char *format, const std::string &data) {
        return parser_.ParseGateWayInfoFromMemory(format, data.c_str(), Length(data), &info_);
    }
    int Devices(const char *format, const std::string &data) {
        return parser_.ParseDevicesInfoFromMemory(format, data.c_str(), Length(data), &devices_);
    }
    int Files(const char *format, const std::string &data) {
        return parser_.ParseDownFileFromMemory(format, data.c_str(), Length(data), &files_);
    }
    int Recalls(const char *format, const std::string &data) {
        return parser_.ParseRecallTimeFromMemory(format, data.c_str(), Length(data), &ranges_);
    }

    CParseMemory parser_;
    ST_GATEWAY_INFO info_{};
    std::vector<ST_DEVICE_INFO> devices_;
    std::vector<down_file_para> files_;
    std::vector<recall_time_para> ranges_;
    const LogCapture log_;
};

TEST_F(Parse, TheFormatIsChosenByItsPrefix) {
    EXPECT_EQ(0, Devices("jsonx", R"({"device":[]})"));
    EXPECT_EQ(0, Devices("xmlfoo", "<data/>"));
    for (const char *format : {"", "JSON", "XML", "jso", "xm", "yaml"}) {
        EXPECT_EQ(-1, Gateway(format, kAnswers[0].json)) << format;
        EXPECT_EQ(-1, Devices(format, R"({"device":[]})")) << format;
        EXPECT_EQ(-1, Files(format, "<data/>")) << format;
        EXPECT_EQ(-1, Recalls(format, "<data/>")) << format;
    }
    EXPECT_TRUE(log_.Text().empty());
}

TEST_F(Parse, TheGatewayFromXml) {
    std::strcpy(info_.address, "kept");
    EXPECT_EQ(0, Gateway("xml", kAnswers[0].xml));
    EXPECT_STREQ("G1", info_.gateWayName);
    EXPECT_STREQ("1.2", info_.version);
    EXPECT_STREQ("S", info_.stationName);
    EXPECT_STREQ("1.5", info_.longitude);
    EXPECT_STREQ("2.5", info_.latitude);
    EXPECT_STREQ("O", info_.ownerName);
    EXPECT_STREQ("OD", info_.ownerDesc);
    EXPECT_STREQ("R", info_.roomName);
    EXPECT_STREQ("RD", info_.roomDesc);
    EXPECT_STREQ("kept", info_.address);
}

TEST_F(Parse, TheGatewayFromJsonNamesItsStationToo) {
    std::strcpy(info_.address, "kept");
    EXPECT_EQ(0, Gateway("json", kAnswers[0].json));
    EXPECT_STREQ("G1", info_.gateWayName);
    EXPECT_STREQ("G1", info_.stationName);
    EXPECT_STREQ("1.2", info_.version);
    EXPECT_STREQ("1.5", info_.longitude);
    EXPECT_STREQ("2.5", info_.latitude);
    EXPECT_STREQ("O", info_.ownerName);
    EXPECT_STREQ("OD", info_.ownerDesc);
    EXPECT_STREQ("R", info_.roomName);
    EXPECT_STREQ("RD", info_.roomDesc);
    EXPECT_STREQ("kept", info_.address);
}

TEST_F(Parse, OnlyTheOddSpellingOfLongitudeIsReadFromXml) {
    std::strcpy(info_.longitude, "before");
    EXPECT_EQ(0, Gateway("xml", R"(<data><gw><site longitude="9"/></gw></data>)"));
    EXPECT_STREQ("before", info_.longitude);
}

TEST_F(Parse, TheGatewaysTextsKeep63Characters) {
    for (const std::size_t length : {62U, 63U, 64U, 300U}) {
        const std::string text(length, 'g');
        const std::string kept = text.substr(0, 63);
        EXPECT_EQ(0, Gateway("xml", "<data><gw name=\"" + text + "\" ver=\"" + text +
                                        "\"><site name=\"" + text + "\" longtitude=\"" + text +
                                        "\" latitude=\"" + text + "\"/><owner name=\"" + text +
                                        "\" desc=\"" + text + "\"/><room name=\"" + text +
                                        "\" desc=\"" + text + "\"/></gw></data>"));
        for (const char *field :
             {info_.stationName, info_.version, info_.roomName, info_.roomDesc, info_.gateWayName,
              info_.ownerName, info_.ownerDesc, info_.longitude, info_.latitude}) {
            EXPECT_EQ(kept, field);
        }
        info_ = {};
        EXPECT_EQ(0, Gateway("json", R"({"name":")" + text + R"(","ver":")" + text +
                                         R"(","room":{"name":")" + text + R"(","desc":")" + text +
                                         R"("},"owner":{"name":")" + text + R"(","desc":")" + text +
                                         R"("},"site":{"longitude":")" + text +
                                         R"(","latitude":")" + text + R"("}})"));
        for (const char *field :
             {info_.stationName, info_.version, info_.roomName, info_.roomDesc, info_.gateWayName,
              info_.ownerName, info_.ownerDesc, info_.longitude, info_.latitude}) {
            EXPECT_EQ(kept, field);
        }
    }
}

TEST_F(Parse, AJsonGatewayIsReadInItsOrderUpToWhatIsMissing) {
    EXPECT_THROW(Gateway("json", R"({"ver":"v","name":"n","room":{"desc":"d"}})"),
                 std::logic_error);
    EXPECT_STREQ("n", info_.stationName);
    EXPECT_STREQ("v", info_.version);
    EXPECT_STREQ("", info_.roomName);
    EXPECT_STREQ("", info_.roomDesc) << "room's name comes before its description";
    EXPECT_STREQ("", info_.gateWayName) << "comes after the room";
}

TEST_F(Parse, DevicesFromBothFormats) {
    for (const char *format : {"json", "xml"}) {
        devices_.clear();
        EXPECT_EQ(0, Devices(format, *format == 'j' ? kAnswers[1].json : kAnswers[1].xml));
        ASSERT_EQ(2U, devices_.size());
        EXPECT_EQ(2, devices_[0].channel);
        EXPECT_EQ(1, devices_[0].id);
        EXPECT_STREQ("Meter", devices_[0].name);
        EXPECT_STREQ("D", devices_[0].desc);
        EXPECT_EQ(2, devices_[1].id);
        EXPECT_STREQ("Pump", devices_[1].name);
        EXPECT_STREQ("", devices_[1].desc);
    }
}

TEST_F(Parse, ADevicesNumbersKeepEightBits) {
    EXPECT_EQ(0, Devices("json", R"({"device":[{"channel":300,"id":-1,"name":"","desc":""}]})"));
    EXPECT_EQ(0, Devices("xml", R"(<data><device channel="300" id="-1"/></data>)"));
    for (const ST_DEVICE_INFO &device : devices_) {
        EXPECT_EQ(44, device.channel);
        EXPECT_EQ(255, device.id);
    }
}

TEST_F(Parse, ADevicesTextsKeep127Characters) {
    for (const std::size_t length : {126U, 127U, 128U, 1000U}) {
        const std::string text(length, 'd');
        devices_.clear();
        EXPECT_EQ(0, Devices("json", R"({"device":[{"channel":1,"id":1,"name":")" + text +
                                         R"(","desc":")" + text + R"("}]})"));
        EXPECT_EQ(0, Devices("xml",
                             "<data><device name=\"" + text + "\" desc=\"" + text + "\"/></data>"));
        for (const ST_DEVICE_INFO &device : devices_) {
            EXPECT_EQ(text.substr(0, 127), device.name);
            EXPECT_EQ(text.substr(0, 127), device.desc);
        }
    }
}

TEST_F(Parse, OfferedFilesFromBothFormats) {
    EXPECT_EQ(0, Files("json", kAnswers[2].json));
    EXPECT_EQ(0, Files("xml", kAnswers[2].xml));
    ASSERT_EQ(2U, files_.size()) << "lists are appended to";
    for (const down_file_para &file : files_) {
        EXPECT_STREQ("a/b.zip", file.file);
        EXPECT_STREQ("0123456789abcdef0123456789abcdef", file.md5);
        EXPECT_EQ(9, file.type);
        EXPECT_STREQ("/opt/x", file.path);
    }
}

TEST_F(Parse, AnOfferedFilesTextsAreCutAtTheirLimits) {
    for (const std::size_t length : {62U, 63U, 64U, 510U, 511U, 512U, 2000U}) {
        const std::string text(length, 'f');
        files_.clear();
        EXPECT_EQ(0, Files("json", R"({"node":[{"file":")" + text + R"(","md5":")" + text +
                                       R"(","type":"0","path":")" + text + R"("}]})"));
        EXPECT_EQ(0, Files("xml", "<data><node file=\"" + text + "\" md5=\"" + text + "\" path=\"" +
                                      text + "\"/></data>"));
        ASSERT_EQ(2U, files_.size());
        for (const down_file_para &file : files_) {
            EXPECT_EQ(text.substr(0, 511), file.file);
            EXPECT_EQ(text.substr(0, 63), file.md5);
            EXPECT_EQ(text.substr(0, 511), file.path);
        }
    }
}

TEST_F(Parse, AnOfferedFilesTypeIsADecimalText) {
    const struct {
        const char *text;
        int type;
    } kTypes[] = {{"0", 0}, {"1", 1}, {"-3", -3}, {"9x", 9}, {"", 0}, {"x", 0}, {" 5", 5}};
    for (const auto &type : kTypes) {
        const std::string text = type.text;
        files_.clear();
        EXPECT_EQ(0, Files("json", R"({"node":[{"file":"","md5":"","path":"","type":")" + text +
                                       R"("}]})"));
        EXPECT_EQ(0, Files("xml", "<data><node type=\"" + text + "\"/></data>"));
        EXPECT_EQ(type.type, files_.at(0).type);
        EXPECT_EQ(type.type, files_.at(1).type);
    }
}

TEST_F(Parse, RecallsFromXmlReturnZero) {
    EXPECT_EQ(0, Recalls("xml", kAnswers[3].xml));
    ASSERT_EQ(2U, ranges_.size());
    EXPECT_EQ(1709596800, ranges_[0].start);
    EXPECT_EQ(3600, ranges_[0].end - ranges_[0].start);
    EXPECT_EQ(86400, ranges_[1].start - ranges_[0].start);
}

TEST_F(Parse, RecallsFromJsonReturnTheEntriesNowInTheList) {
    EXPECT_EQ(2, Recalls("json", kAnswers[3].json));
    EXPECT_EQ(4, Recalls("json", kAnswers[3].json));
    EXPECT_EQ(4, Recalls("json", R"({"node":[]})"));
    EXPECT_EQ(1709596800, ranges_.at(2).start);
    EXPECT_EQ(3600, ranges_[2].end - ranges_[2].start);
}

TEST_F(Parse, AnEmptyListAppendsNothing) {
    EXPECT_EQ(0, Devices("json", R"({"device":[]})"));
    EXPECT_EQ(0, Files("json", R"({"node":[]})"));
    EXPECT_EQ(0, Recalls("json", R"({"node":[]})"));
    EXPECT_EQ(0, Gateway("xml", "<data/>"));
    EXPECT_EQ(0, Devices("xml", "<data></data>"));
    EXPECT_EQ(0, Files("xml", "<data>  \n </data>"));
    EXPECT_EQ(0, Recalls("xml", "<data><!-- none --></data>"));
    EXPECT_TRUE(devices_.empty());
    EXPECT_TRUE(files_.empty());
    EXPECT_TRUE(ranges_.empty());
}

TEST_F(Parse, OtherElementsAndAttributesAreIgnored) {
    EXPECT_EQ(
        0, Devices("xml", R"(<data><node id="1"/><Device id="2"/><device ID="3" x="y"/></data>)"));
    ASSERT_EQ(1U, devices_.size());
    EXPECT_EQ(0, devices_[0].id);
}

TEST_F(Parse, EachXmlElementStartsFromAnEmptyRecord) {
    EXPECT_EQ(
        0,
        Files("xml", R"(<data><node file="a" md5="b" type="1" path="p"/><node file="c"/></data>)"));
    ASSERT_EQ(2U, files_.size());
    EXPECT_STREQ("", files_[1].md5);
    EXPECT_EQ(0, files_[1].type);
    EXPECT_STREQ("", files_[1].path);
}

TEST_F(Parse, AnXmlAnswerWithoutARootIsLoggedByItsOperation) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(-1, Gateway("xml", ""));
    EXPECT_EQ(-1, Devices("xml", "<data>"));
    EXPECT_EQ(-1, Files("xml", "no xml"));
    EXPECT_EQ(-1, Recalls("xml", "   "));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ((std::vector<LogEntry>{{4, "ParseGateWayInfoFromMemory err, Data is empty"},
                                     {4, "ParseDevicesInfoFromMemory err, Data is empty"},
                                     {4, "ParseRecallTimeFromMemory err, Data is empty"},
                                     {4, "ParseRecallTimeFromMemory err, Data is empty"}}),
              log_.Text());
}

TEST_F(Parse, AnXmlAnswerWithAnotherRootIsLoggedByItsOperation) {
    EXPECT_EQ(-1, Gateway("xml", "<Data/>"));
    EXPECT_EQ(-1, Devices("xml", "<x><data/></x>"));
    EXPECT_EQ(-1, Files("xml", "<html/>"));
    EXPECT_EQ(-1, Recalls("xml", "<dat/>"));
    EXPECT_EQ((std::vector<LogEntry>{{4, "ParseGateWayInfoFromMemory,Root node is not data"},
                                     {4, "ParseDevicesInfoFromMemory,Root node is not data"},
                                     {4, "ParseRecallTimeFromMemory,Root node is not data"},
                                     {4, "ParseRecallTimeFromMemory,Root node is not data"}}),
              log_.Text());
}

TEST_F(Parse, XmlIsReadByItsLength) {
    const std::string answer = R"(<data><node file="a"/></data>)";
    EXPECT_EQ(0, parser_.ParseDownFileFromMemory("xml", (answer + "garbage").c_str(),
                                                 Length(answer), &files_));
    EXPECT_EQ(1U, files_.size());
    testing::internal::CaptureStderr();
    EXPECT_EQ(-1, parser_.ParseDownFileFromMemory("xml", answer.c_str(), 10, &files_));
    EXPECT_EQ(-1, parser_.ParseDownFileFromMemory("xml", answer.c_str(), 0, &files_));
    EXPECT_EQ(-1, parser_.ParseDownFileFromMemory("xml", answer.c_str(), -5, &files_));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ(1U, files_.size());
}

/// The sanitizers' runs see a byte too many.
TEST_F(Parse, XmlNeedsNoNul) {
    const std::string answer = R"(<data><node file="a"/></data>)";
    const std::vector<char> bytes(answer.begin(), answer.end());
    EXPECT_EQ(0, parser_.ParseDownFileFromMemory("xml", bytes.data(),
                                                 static_cast<int>(bytes.size()), &files_));
    EXPECT_EQ(1U, files_.size());
}

TEST_F(Parse, JsonIsReadUpToItsEndWhateverTheLength) {
    EXPECT_EQ(2, parser_.ParseRecallTimeFromMemory("json", kAnswers[3].json, 0, &ranges_));
    EXPECT_EQ(4, parser_.ParseRecallTimeFromMemory("json", kAnswers[3].json, 1'000'000, &ranges_));
}

TEST_F(Parse, JsonThatDoesNotParseIsRefusedQuietly) {
    for (const char *text : {"", " ", "{", "[1,]", "{} x", "nul", "{'a':1}", "\x01"}) {
        EXPECT_EQ(-1, Gateway("json", text)) << text;
        EXPECT_EQ(-1, Devices("json", text)) << text;
        EXPECT_EQ(-1, Files("json", text)) << text;
        EXPECT_EQ(-1, Recalls("json", text)) << text;
    }
    EXPECT_TRUE(log_.Text().empty());
}

TEST_F(Parse, WithoutAResultOrAFormatThereIsOnlyFailure) {
    for (const char *format : {"json", "xml"}) {
        EXPECT_EQ(-1, parser_.ParseGateWayInfoFromMemory(format, "{}", 2, nullptr));
        EXPECT_EQ(-1, parser_.ParseDevicesInfoFromMemory(format, "{}", 2, nullptr));
        EXPECT_EQ(-1, parser_.ParseDownFileFromMemory(format, "{}", 2, nullptr));
        EXPECT_EQ(-1, parser_.ParseRecallTimeFromMemory(format, "{}", 2, nullptr));
    }
    EXPECT_EQ(-1, parser_.ParseRecallTimeFromMemory(nullptr, "{}", 2, &ranges_));
}

TEST_F(Parse, ANullAnswerIsAnEmptyOne) {
    EXPECT_EQ(-1, parser_.ParseDownFileFromMemory("json", nullptr, 5, &files_));
    EXPECT_TRUE(log_.Text().empty());
    EXPECT_EQ(-1, parser_.ParseDevicesInfoFromMemory("xml", nullptr, 5, &devices_));
    EXPECT_EQ((std::vector<LogEntry>{{4, "ParseDevicesInfoFromMemory err, Data is empty"}}),
              log_.Text());
}

/// What an answer raises, "" when nothing.
template <class Function>
std::string Raised(Function function) {
    try {
        function();
    } catch (const std::logic_error &error) {
        return error.what();
    }
    return "";
}

TEST_F(Parse, AMemberThatIsMissingOrOfAnotherTypeRaises) {
    const auto raises = [&](auto operation, const std::string &text) {
        EXPECT_EQ("rapidjson exception", Raised([&] { (this->*operation)("json", text); })) << text;
    };
    for (const char *text : {"null", "1", "\"text\"", "[]", "true", "{}"}) {
        raises(&Parse::Gateway, text);
        raises(&Parse::Devices, text);
        raises(&Parse::Files, text);
        raises(&Parse::Recalls, text);
    }
    for (const char *value :
         {"null", "1", "\"text\"", "true", "{}", "[1]", "[null]", "[{}]", "[[]]"}) {
        raises(&Parse::Devices, "{\"device\":" + std::string(value) + "}");
        raises(&Parse::Files, "{\"node\":" + std::string(value) + "}");
        raises(&Parse::Recalls, "{\"node\":" + std::string(value) + "}");
    }
    for (const char *channel : {"\"2\"", "null", "2.5", "3000000000", "true", "[]"}) {
        raises(&Parse::Devices, R"({"device":[{"channel":)" + std::string(channel) +
                                    R"(,"id":1,"name":"","desc":""}]})");
    }
    raises(&Parse::Files, R"({"node":[{"file":"","md5":"","path":"","type":9}]})");
    raises(&Parse::Files, R"({"node":[{"file":null,"md5":"","path":"","type":"9"}]})");
    raises(&Parse::Recalls, R"({"node":[{"startdt":1,"enddt":"2024-03-05 00:00:00"}]})");
    EXPECT_TRUE(devices_.empty() && files_.empty() && ranges_.empty());
}

TEST_F(Parse, EachMissingMemberOfTheGatewayRaises) {
    const std::string whole = kAnswers[0].json;
    for (const char *member : {"\"name\":\"G1\",", "\"ver\":\"1.2\",", "\"name\":\"R\",",
                               ",\"desc\":\"RD\"", "\"name\":\"O\",", ",\"desc\":\"OD\"",
                               "\"longitude\":\"1.5\",", ",\"latitude\":\"2.5\""}) {
        std::string text = whole;
        const std::size_t at = text.find(member);
        ASSERT_NE(std::string::npos, at) << member;
        text.erase(at, std::string(member).size());
        EXPECT_EQ("rapidjson exception", Raised([&] { Gateway("json", text); })) << text;
    }
}

TEST_F(Parse, ARecallsTimesAreLocal) {
    setenv("TZ", "XYZ-2", 1);
    tzset();
    EXPECT_EQ(0, Recalls("xml", kAnswers[3].xml));
    EXPECT_EQ(4, Recalls("json", kAnswers[3].json));
    for (const std::size_t first : {0U, 2U}) {
        EXPECT_EQ(1709596800 - 7200, ranges_.at(first).start);
        EXPECT_EQ(1709600400 - 7200, ranges_.at(first).end);
    }
}

TEST_F(Parse, ABadEntryKeepsTheGoodOnesBeforeItOut) {
    EXPECT_EQ(2, Recalls("json", kAnswers[3].json));
    EXPECT_THROW(Recalls("json", R"({"node":[{"startdt":"2024-03-05 00:00:00",)"
                                 R"("enddt":"2024-03-05 01:00:00"},{"startdt":"x"}]})"),
                 std::logic_error);
    EXPECT_EQ(2U, ranges_.size());
}

TEST_F(Parse, AfterARaiseTheParserIsStillOfUse) {
    EXPECT_THROW(Devices("json", "{}"), std::logic_error);
    EXPECT_EQ(0, Devices("json", kAnswers[1].json));
}

TEST_F(Parse, OfAnAnswerInTwoPiecesNeitherIsUnderstood) {
    const std::string json = kAnswers[3].json;
    EXPECT_EQ(-1, Recalls("json", json.substr(0, 40)));
    EXPECT_EQ(-1, Recalls("json", json.substr(40)));
    testing::internal::CaptureStderr();
    const std::string xml = kAnswers[3].xml;
    EXPECT_EQ(-1, Recalls("xml", xml.substr(0, 40)));
    EXPECT_EQ(-1, Recalls("xml", xml.substr(40)));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_TRUE(ranges_.empty());
}

TEST_F(Parse, AFullListTakesNoMoreAndOneMessageSaysSo) {
    std::string nodes;
    for (int i = 0; i < 5000; ++i) {
        nodes += "<node/>";
    }
    EXPECT_EQ(0, Files("xml", "<data>" + nodes + "</data>"));
    EXPECT_EQ(4096U, files_.size());
    bool cut = false;
    EXPECT_EQ(0, parser_.ReadDownFileFromMemory("xml", "<data/>", 7, &files_, cut));
    EXPECT_FALSE(cut) << "nothing was left out";
    EXPECT_EQ(0, parser_.ReadDownFileFromMemory("xml", "<data><node/></data>", 20, &files_, cut));
    EXPECT_TRUE(cut);
    EXPECT_EQ(4096U, files_.size());
    const LogEntry full{5, "the list is full with 4096 entries, the rest is ignored"};
    EXPECT_EQ(log_.Text(), (std::vector<LogEntry>{full, full}));
}

TEST_F(Parse, NothingShorterThanFourCharactersIsAnXmlDocument) {
    for (const char *answer : {"", "<", "<a", "<a/"}) {
        EXPECT_EQ(-1, Recalls("xml", answer));
    }
    EXPECT_EQ(-1, Recalls("xml", "<a/>"));
    EXPECT_EQ((std::vector<LogEntry>{{4, "ParseRecallTimeFromMemory err, Data is empty"},
                                     {4, "ParseRecallTimeFromMemory err, Data is empty"},
                                     {4, "ParseRecallTimeFromMemory err, Data is empty"},
                                     {4, "ParseRecallTimeFromMemory err, Data is empty"},
                                     {4, "ParseRecallTimeFromMemory,Root node is not data"}}),
              log_.Text());
}

}  // namespace
}  // namespace corvenna::test
