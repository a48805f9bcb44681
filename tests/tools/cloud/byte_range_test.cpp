#include "tools/cloud/http/byte_range.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "tests/support/files.h"

namespace corvenna::cloud {
namespace {

/// "whole", "none", or the parts as "start+length".
std::string Read(std::string_view header, std::int64_t size = 10) {
    const ByteRange range = ReadRange(header, size);
    if (range.kind != ByteRange::Kind::kParts) {
        return range.kind == ByteRange::Kind::kWhole ? "whole" : "none";
    }
    std::string text;
    for (const BytePart &part : range.parts) {
        text += (text.empty() ? "" : " ") + std::to_string(part.start) + "+" +
                std::to_string(part.length);
    }
    return text;
}

TEST(Range, NamesFirstAndLastByte) {
    EXPECT_EQ(Read("bytes=0-0"), "0+1");
    EXPECT_EQ(Read("bytes=2-4"), "2+3");
    EXPECT_EQ(Read("bytes=9-9"), "9+1");
    EXPECT_EQ(Read("BYTES=2-4"), "2+3");
}

TEST(Range, MayHaveNoEnd) {
    EXPECT_EQ(Read("bytes=0-"), "0+10");
    EXPECT_EQ(Read("bytes=9-"), "9+1");
}

TEST(Range, MayCountFromTheEnd) {
    EXPECT_EQ(Read("bytes=-3"), "7+3");
    EXPECT_EQ(Read("bytes=-10"), "0+10");
    EXPECT_EQ(Read("bytes=-11"), "0+10");
}

TEST(Range, IsCutToWhatIsThere) {
    EXPECT_EQ(Read("bytes=8-99"), "8+2");
    EXPECT_EQ(Read("bytes=8-99,20-30"), "8+2");
}

TEST(Range, MayNameAPositionThatNoNumberHolds) {
    EXPECT_EQ(Read("bytes=8-99999999999999999999"), "8+2");
    EXPECT_EQ(Read("bytes=-99999999999999999999"), "0+10");
    EXPECT_EQ(Read("bytes=99999999999999999999-"), "none");
}

TEST(Range, OutsideCannotBeSatisfied) {
    for (const char *header : {"bytes=10-", "bytes=10-20", "bytes=-0", "bytes=10-,-0"}) {
        EXPECT_EQ(Read(header), "none") << header;
    }
    EXPECT_EQ(Read("bytes=0-", 0), "none");
    EXPECT_EQ(Read("bytes=-1", 0), "none");
}

TEST(Range, MayBeSeveral) {
    EXPECT_EQ(Read("bytes=0-1,4-5"), "0+2 4+2");
    EXPECT_EQ(Read("bytes=4-5 , 0-1,\t-1"), "4+2 0+2 9+1");
    EXPECT_EQ(Read("bytes=0-0,1-1,2-2,3-3,4-4,5-5,6-6,7-7"), "0+1 1+1 2+1 3+1 4+1 5+1 6+1 7+1");
}

TEST(Range, OfTooManyOrOverlappingPartsDoesNotCount) {
    EXPECT_EQ(Read("bytes=0-0,1-1,2-2,3-3,4-4,5-5,6-6,7-7,8-8"), "whole");
    EXPECT_EQ(Read("bytes=0-4,4-5"), "whole");
    EXPECT_EQ(Read("bytes=0-,0-"), "whole");
}

TEST(Range, ThatCannotBeReadDoesNotCount) {
    for (const char *header : {"", "bytes", "bytes=", "bytes=-", "bytes=x-", "bytes=1-x", "bytes=1",
                               "bytes=4-2", "bytes=1--2", "bytes=+1-2", "bytes=1-2,", "bytes=,1-2",
                               "bytes= ", "items=1-2", "bytes=1-2;3-4", "bytes=1 -2"}) {
        EXPECT_EQ(Read(header), "whole") << header;
    }
}

class File : public testing::Test {
protected:
    Response Send(const char *range) {
        test::WriteFile("/tmp/file", "0123456789");
        Response response;
        SendFile(response,
                 std::make_shared<FilePart>(
                     std::make_shared<FileDescriptor>(open("/tmp/file", O_RDONLY)), 0, 10),
                 ReadRange(range, 10));
        return response;
    }

    static std::string Header(const Response &response, const std::string &name) {
        for (const auto &[known, value] : response.headers) {
            if (known == name) {
                return value;
            }
        }
        return "";
    }

    /// What goes out, read in blocks of so many bytes.
    static std::string Body(const Response &response, std::size_t block) {
        if (!response.file) {
            return response.body;
        }
        std::string body;
        std::string part(block, '\0');
        while (const std::size_t got = response.file->Read(static_cast<std::int64_t>(body.size()),
                                                           part.data(), block)) {
            body += part.substr(0, got);
        }
        return body;
    }
};

TEST_F(File, GoesOutWhole) {
    const Response response = Send("");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(Body(response, 3), "0123456789");
    EXPECT_EQ(Header(response, "Accept-Ranges"), "bytes");
    EXPECT_EQ(Header(response, "Content-Range"), "");
}

TEST_F(File, GoesOutInPart) {
    const Response response = Send("bytes=2-5");
    EXPECT_EQ(response.status, 206);
    EXPECT_EQ(Body(response, 3), "2345");
    EXPECT_EQ(Header(response, "Content-Range"), "bytes 2-5/10");
}

TEST_F(File, OutsideItsEndGoesOutAsItsSize) {
    const Response response = Send("bytes=10-");
    EXPECT_EQ(response.status, 416);
    EXPECT_EQ(response.file, nullptr);
    EXPECT_EQ(Header(response, "Content-Range"), "bytes */10");
}

TEST_F(File, GoesOutInSeveralParts) {
    const Response response = Send("bytes=8-,0-1");
    const std::string boundary = "--corvenna-cloud-part-5d8e1f0a37c94b62";
    const std::string type = "\r\nContent-Type: application/octet-stream\r\n";
    const std::string expected = boundary + type + "Content-Range: bytes 8-9/10\r\n\r\n89\r\n" +
                                 boundary + type + "Content-Range: bytes 0-1/10\r\n\r\n01\r\n" +
                                 boundary + "--\r\n";
    EXPECT_EQ(response.status, 206);
    EXPECT_EQ(Header(response, "Content-Type"),
              "multipart/byteranges; boundary=corvenna-cloud-part-5d8e1f0a37c94b62");
    for (const std::size_t block : {1U, 7U, 1000U}) {
        EXPECT_EQ(Body(response, block), expected) << block;
    }
    EXPECT_EQ(response.file->Size(), static_cast<std::int64_t>(expected.size()));
}

}  // namespace
}  // namespace corvenna::cloud
