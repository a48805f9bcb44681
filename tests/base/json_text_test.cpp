#include "base/json_text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "base/json.h"

namespace corvenna::test {
namespace {

std::string Document(JsonText &text) {
    const std::size_t length = text.Text().Length();
    return {text.Text().Join(), length};
}

std::string StringEntry(std::string_view text) {
    JsonText document;
    document.String(text);
    return Document(document);
}

std::string ByRapidJson(const std::string &text) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return {buffer.GetString(), buffer.GetSize()};
}

TEST(JsonText, IsCompact) {
    JsonText text;
    text.StartObject();
    text.Key("text");
    text.String("a/b");
    text.Key("numbers");
    text.StartArray();
    for (const int number : {0, 9, 10, -1, -10, 2147483647, -2147483647 - 1}) {
        text.Int(number);
    }
    text.Uint(0);
    text.Uint(4294967295U);
    text.EndArray();
    text.Key("empty");
    text.StartArray();
    text.EndArray();
    text.Key("nested");
    text.StartArray();
    text.StartObject();
    text.EndObject();
    text.StartObject();
    text.Key("again");
    text.String("");
    text.EndObject();
    text.EndArray();
    text.Key("printed");
    text.Printed(3, [](char *field) {
        field[0] = '1';
        field[1] = '0';
        return 2U;
    });
    text.EndObject();
    EXPECT_EQ(Document(text),
              R"({"text":"a/b","numbers":[0,9,10,-1,-10,2147483647,-2147483648,0,4294967295],)"
              R"("empty":[],"nested":[{},{"again":""}],"printed":"10"})");
}

TEST(JsonText, EscapesQuotesBackslashesAndControlCharactersAndNothingElse) {
    EXPECT_EQ(StringEntry("\"\\\b\f\n\r\t\x01\x0b\x1f\x7f/<>&'\xc3\xa9\xff"),
              "\"\\\"\\\\\\b\\f\\n\\r\\t\\u0001\\u000B\\u001F\x7f/<>&'\xc3\xa9\xff\"");
}

TEST(JsonText, EveryByteIsSpeltAsRapidJsonSpellsIt) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        ASSERT_EQ(StringEntry(text), ByRapidJson(text)) << byte;
    }
}

TEST(JsonText, AnyTextIsSpeltAsRapidJsonSpellsIt) {
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) {
        std::string text(random() % 200, '\0');
        for (char &c : text) {
            c = static_cast<char>(random() % 2 == 0 ? random() % 48 : random() % 256);
        }
        ASSERT_EQ(StringEntry(text), ByRapidJson(text)) << i;
    }
}

TEST(JsonText, TextLongerThanAPieceIsWhole) {
    for (const std::size_t length : {10900U, 10910U, 10920U, 65500U, 65600U, 300000U}) {
        const std::string plain(length, 'p');
        ASSERT_EQ(StringEntry(plain), '"' + plain + '"') << length;
        const std::string escaped(length, '\x01');
        ASSERT_EQ(StringEntry(escaped), ByRapidJson(escaped)) << length;
    }
}

TEST(JsonText, EntriesThatMeetTheEndOfAPieceAreWhole) {
    for (std::size_t before = TextPieces::kLongestRun - 40; before < TextPieces::kLongestRun;
         ++before) {
        JsonText text;
        text.StartArray();
        text.String(std::string(before, 'x'));
        text.Uint(12345);
        text.StartObject();
        text.Key("key");
        text.Printed(4, [](char *field) {
            *field = '7';
            return 1U;
        });
        text.EndObject();
        text.EndArray();
        ASSERT_EQ(Document(text), "[\"" + std::string(before, 'x') + "\",12345,{\"key\":\"7\"}]");
    }
}

TEST(JsonText, StringsThatMeetTheEndOfAPieceAreWhole) {
    const std::string escaped(3, '\x01');
    const std::string behind(3 * TextPieces::kLongestRun, 'y');
    for (std::size_t before = TextPieces::kLongestRun - 40; before < TextPieces::kLongestRun;
         ++before) {
        const std::string text(before, 'x');
        JsonText json;
        json.StartArray();
        json.String(text);
        json.String(escaped);
        json.String(behind);
        json.EndArray();
        ASSERT_EQ(Document(json),
                  "[\"" + text + "\"," + ByRapidJson(escaped) + ",\"" + behind + "\"]");
    }
}

}  // namespace
}  // namespace corvenna::test
