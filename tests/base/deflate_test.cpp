#include "base/deflate.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>

namespace corvenna::test {
namespace {

std::string Inflated(const std::string &bytes, std::size_t room) {
    std::string text(room, '#');
    auto length = static_cast<uLongf>(room);
    EXPECT_EQ(Z_OK, uncompress(reinterpret_cast<Bytef *>(text.data()), &length,
                               reinterpret_cast<const Bytef *>(bytes.data()),
                               static_cast<uLong>(bytes.size())));
    text.resize(length);
    return text;
}

TEST(DeflateWithNul, InflatesToTheTextAndItsNul) {
    const std::string text = "{\"a\":1}";
    std::string output(100, '\0');
    const Deflated deflated =
        DeflateWithNul(text.c_str(), text.size(), output.data(), output.size());
    EXPECT_TRUE(deflated.whole);
    output.resize(deflated.length);
    EXPECT_EQ(text + '\0', Inflated(output, 100));
}

TEST(DeflateWithNul, OfAnEmptyTextIsTheNulAlone) {
    std::string output(100, '\0');
    const Deflated deflated = DeflateWithNul("", 0, output.data(), output.size());
    EXPECT_TRUE(deflated.whole);
    output.resize(deflated.length);
    EXPECT_EQ(std::string(1, '\0'), Inflated(output, 10));
}

TEST(DeflateWithNul, IsZlibsDefaultLevel) {
    const std::string text(1000, 'a');
    std::string output(100, '\0');
    const Deflated deflated =
        DeflateWithNul(text.c_str(), text.size(), output.data(), output.size());
    std::string expected(100, '\0');
    auto length = static_cast<uLongf>(expected.size());
    ASSERT_EQ(Z_OK, compress2(reinterpret_cast<Bytef *>(expected.data()), &length,
                              reinterpret_cast<const Bytef *>(text.c_str()), 1001,
                              Z_DEFAULT_COMPRESSION));
    EXPECT_EQ(length, deflated.length);
    EXPECT_EQ(expected, output);
}

TEST(DeflateWithNul, SaysWhenTheBufferIsTooSmall) {
    std::mt19937 random(1);
    std::string text(1000, ' ');
    for (char &c : text) {
        c = static_cast<char>('!' + random() % 90);
    }
    std::string output(2000, '\0');
    const std::size_t needed =
        DeflateWithNul(text.c_str(), text.size(), output.data(), output.size()).length;
    std::string exact(needed + 1, '#');
    EXPECT_TRUE(DeflateWithNul(text.c_str(), text.size(), exact.data(), needed).whole);
    EXPECT_EQ('#', exact[needed]);
    EXPECT_FALSE(DeflateWithNul(text.c_str(), text.size(), exact.data(), needed - 1).whole);
}

}  // namespace
}  // namespace corvenna::test
