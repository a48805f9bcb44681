#include "base/json.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace corvenna::test {
namespace {

TEST(Json, AFailedAssertionThrows) {
    rapidjson::Document document;
    document.Parse("{}");
    try {
        document.GetInt();
        FAIL() << "an object is no number";
    } catch (const std::logic_error &error) {
        EXPECT_STREQ("rapidjson exception", error.what());
    }
}

}  // namespace
}  // namespace corvenna::test
