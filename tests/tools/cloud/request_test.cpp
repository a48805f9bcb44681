#include "tools/cloud/http/request.h"

#include <gtest/gtest.h>

namespace corvenna::cloud {
namespace {

Request Of(const std::string &target) {
    Request request;
    SetTarget(request, target);
    return request;
}

TEST(Target, IsCutIntoPathAndParameters) {
    const Request request = Of("/a/b?x=1&y=two&x=3&empty=&flag");
    EXPECT_EQ(request.target, "/a/b?x=1&y=two&x=3&empty=&flag");
    EXPECT_EQ(request.path, "/a/b");
    EXPECT_EQ(request.Parameter("x"), "1");
    EXPECT_EQ(request.Parameter("y"), "two");
    EXPECT_TRUE(request.HasParameter("empty"));
    EXPECT_TRUE(request.HasParameter("flag"));
    EXPECT_FALSE(request.HasParameter("z"));
    EXPECT_EQ(request.Parameter("z"), "");
}

TEST(Target, IsDecoded) {
    EXPECT_EQ(Of("/a%20b%2Fc+d").path, "/a b/c+d");
    EXPECT_EQ(Of("/?n%3D=a+b%2b").Parameter("n="), "a b+");
    EXPECT_EQ(Of("/%00").path, std::string("/\0", 2));
}

TEST(Target, KeepsAPercentSignWithoutTwoDigits) {
    EXPECT_EQ(Of("/%").path, "/%");
    EXPECT_EQ(Of("/%4").path, "/%4");
    EXPECT_EQ(Of("/%4g%zz").path, "/%4g%zz");
}

TEST(Target, MayNameTheServer) {
    EXPECT_EQ(Of("http://host:80/a?b=c").path, "/a");
    EXPECT_EQ(Of("HTTPS://host/a").path, "/a");
    EXPECT_EQ(Of("http://host").path, "/");
}

TEST(Target, EndsAtAFragment) {
    EXPECT_EQ(Of("/a#b?c=d").path, "/a");
    EXPECT_EQ(Of("/a?b=c#d").Parameter("b"), "c");
}

TEST(Headers, AreFoundInAnyCase) {
    Request request;
    request.headers = {{"X-One", "1"}, {"x-one", "2"}};
    EXPECT_EQ(request.Header("x-ONE"), "1");
    EXPECT_TRUE(request.HasHeader("X-one"));
    EXPECT_FALSE(request.HasHeader("X-On"));
    EXPECT_EQ(request.Header("X-Two"), "");
}

}  // namespace
}  // namespace corvenna::cloud
