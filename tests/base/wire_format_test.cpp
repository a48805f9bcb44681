#include "base/wire_format.h"

#include <gtest/gtest.h>

namespace corvenna::test {
namespace {

TEST(FormatOf, ComparesThePrefixInItsCase) {
    const struct {
        const char *word;
        Format format;
    } kRows[] = {
        {"json", Format::kJson},     {"jsonx", Format::kJson},   {"json ", Format::kJson},
        {"xml", Format::kXml},       {"xmlfoo", Format::kXml},   {"jso", Format::kUnknown},
        {"xm", Format::kUnknown},    {"JSON", Format::kUnknown}, {"XML", Format::kUnknown},
        {" json", Format::kUnknown}, {"", Format::kUnknown},     {"yaml", Format::kUnknown},
    };
    for (const auto &row : kRows) {
        EXPECT_EQ(row.format, FormatOf(row.word)) << row.word;
    }
}

TEST(FormatOf, ANullWordIsUnknown) {
    EXPECT_EQ(Format::kUnknown, FormatOf(nullptr));
}

}  // namespace
}  // namespace corvenna::test
