#include "base/json_text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace corvenna::test {
namespace {

template <class Out>
void SpellOneOfEach(Out &out, std::string_view text) {
    out.StartObject();
    out.Key("text");
    out.String(text);
    out.Key("numbers");
    out.StartArray();
    for (const int number : {0, 9, 10, -1, -10, 2147483647, -2147483647 - 1}) {
        out.Int(number);
    }
    out.Uint(4294967295U);
    out.EndArray();
    out.Key("empty");
    out.StartArray();
    out.EndArray();
    out.Key("nested");
    out.StartArray();
    out.StartObject();
    out.EndObject();
    out.StartObject();
    out.Key("again");
    out.String(text);
    out.EndObject();
    out.EndArray();
    out.EndObject();
}

void ExpectExactSize(std::string_view text) {
    JsonSize size;
    SpellOneOfEach(size, text);
    JsonText document(size.Capacity());
    SpellOneOfEach(document, text);
    ASSERT_EQ(size.Length(), document.Length());
    ASSERT_EQ(document.Text()[document.Length()], '\0');
    ASSERT_GE(size.Capacity(), document.Length() + 1);
}

TEST(JsonText, IsCompact) {
    JsonText document(1000);
    SpellOneOfEach(document, "a/b");
    EXPECT_STREQ(document.Text(),
                 R"({"text":"a/b","numbers":[0,9,10,-1,-10,2147483647,-2147483648,4294967295],)"
                 R"("empty":[],"nested":[{},{"again":"a/b"}]})");
}

TEST(JsonText, EscapesQuotesBackslashesAndControlCharactersAndNothingElse) {
    JsonText document(1000);
    document.StartArray();
    document.String("\"\\\b\f\n\r\t\x01\x1f\x7f/<>&'\xc3\xa9\xff");
    document.EndArray();
    EXPECT_STREQ(document.Text(),
                 "[\"\\\"\\\\\\b\\f\\n\\r\\t\\u0001\\u001F\x7f/<>&'\xc3\xa9\xff\"]");
}

TEST(JsonText, GrowsWhenItWasPromisedLess) {
    JsonText document(1);
    SpellOneOfEach(document, "text");
    JsonText whole(1000);
    SpellOneOfEach(whole, "text");
    EXPECT_STREQ(document.Text(), whole.Text());
}

TEST(JsonSize, KnowsTheLengthOfEveryCharacter) {
    for (int c = 1; c < 256; ++c) {
        const char text[] = {static_cast<char>(c)};
        ASSERT_NO_FATAL_FAILURE(ExpectExactSize({text, 1})) << c;
    }
}

TEST(JsonSize, KnowsTheLengthOfAnyText) {
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) {
        std::string text(random() % 200, '\0');
        for (char &c : text) {
            c = static_cast<char>(random() % 2 == 0 ? random() % 48 + 1 : random() % 255 + 1);
        }
        ASSERT_NO_FATAL_FAILURE(ExpectExactSize(text));
    }
}

}  // namespace
}  // namespace corvenna::test
