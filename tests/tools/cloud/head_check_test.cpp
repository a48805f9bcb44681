#include "tools/cloud/net/head_check.h"

#include <gtest/gtest.h>

#include <string>

namespace corvenna::cloud {
namespace {

constexpr const char *kReady = "POST /a HTTP/1.1\r\nHost: x\r\n";

struct Row {
    const char *lines;  ///< behind the request line and a host
    int status;         ///< 0: good
};

class Framing : public testing::TestWithParam<Row> {};

TEST_P(Framing, WhatReadersCouldUnderstandDifferentlyIsRefused) {
    const auto problem = CheckHead(std::string(kReady) + GetParam().lines + "\r\n");
    EXPECT_EQ(problem ? problem->status : 0, GetParam().status) << GetParam().lines;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Framing,
    testing::Values(Row{"", 0}, Row{"Content-Length: 43\r\n", 0}, Row{"Content-Length: 0\r\n", 0},
                    Row{"content-length:\t43 \r\n", 0}, Row{"Transfer-Encoding: Chunked\r\n", 0},
                    Row{"Content-Length: +43\r\n", 400}, Row{"Content-Length: -1\r\n", 400},
                    Row{"Content-Length:\r\n", 400}, Row{"Content-Length: 4 3\r\n", 400},
                    Row{"Content-Length: 0x43\r\n", 400}, Row{"Content-Length: 43, 43\r\n", 400},
                    Row{"Content-Length: 999999999999999999\r\n", 0},
                    Row{"Content-Length: 1000000000000000000\r\n", 400},
                    Row{"Content-Length: 43\r\nContent-Length: 43\r\n", 400},
                    Row{"Content-Length: 43\r\nContent-Length: 44\r\n", 400},
                    Row{"Content-Length: 43\r\nTransfer-Encoding: chunked\r\n", 400},
                    Row{"Transfer-Encoding: chunked\r\nContent-Length: 43\r\n", 400},
                    Row{"Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", 400},
                    Row{"Transfer-Encoding: gzip, chunked\r\n", 501},
                    Row{"Transfer-Encoding: xchunked\r\n", 501}, Row{"Transfer-Encoding:\r\n", 501},
                    Row{"Content-Length : 43\r\n", 400},
                    Row{"Transfer-Encoding\t: chunked\r\n", 400}, Row{": 43\r\n", 400},
                    Row{" folded: 43\r\n", 400}, Row{"X: a\r\n\tb\r\n", 400},
                    Row{"no colon\r\n", 400}, Row{"X(Y): 43\r\n", 400}, Row{"Host: y\r\n", 400}));

TEST(Hosts, AreNamedOnceByWhoSpeaksHttp11) {
    EXPECT_EQ(CheckHead("GET / HTTP/1.1\r\n\r\n")->status, 400);
    EXPECT_FALSE(CheckHead("GET / HTTP/1.1\r\nHost:\r\n\r\n"));
    EXPECT_FALSE(CheckHead("GET / HTTP/1.0\r\n\r\n"));
}

TEST(Codings, AreUnknownToHttp10) {
    EXPECT_EQ(CheckHead("POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n")->status, 400);
}

TEST(HeadBytes, LetNoControlCharacterIn) {
    for (const char *good : {"", "GET / HTTP/1.1\r\n", "GET / HTTP/1.1\r", "A: \tb \xc3\xa4\r\n"}) {
        EXPECT_FALSE(CheckHeadBytes(good, 0)) << good;
    }
    for (const char *bad : {"GET / HTTP/1.1\n", "\nGET", "GET \x01", "GET \x7f", "GET\r /"}) {
        EXPECT_EQ(CheckHeadBytes(bad, 0)->status, 400) << bad;
    }
    EXPECT_EQ(CheckHeadBytes(std::string_view("GET \0", 5), 0)->status, 400);
}

TEST(HeadBytes, AreLookedAtAgainWhereABlockEnded) {
    const std::string head = "GET / HTTP/1.1\rX";
    EXPECT_FALSE(CheckHeadBytes(head.substr(0, 15), 0));
    EXPECT_EQ(CheckHeadBytes(head, 15)->status, 400);
    EXPECT_FALSE(CheckHeadBytes("GET / HTTP/1.1\r\n", 15));
}

TEST(HeadBytes, ThatBeginLikeAnotherProtocolAreNone) {
    for (const char *bad : {"\x16\x03\x01", " GET", "{", "\xff"}) {
        EXPECT_EQ(CheckHeadBytes(bad, 0)->status, 400) << bad;
    }
}

}  // namespace
}  // namespace corvenna::cloud
