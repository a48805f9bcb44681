#include "tests/plugin/gateway.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sys/mount.h>
#include <zlib.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ostream>

#include "base/text.h"

namespace corvenna::test {

std::string NameOf(const Wire &wire) {
    return std::string(wire.format == "json" ? "Json" : "Xml") +
           (wire.protocol == Protocol::kHttp ? "Http" : "Https") +
           (wire.compressed ? "Deflated" : "");
}

void PrintTo(const Wire &wire, std::ostream *stream) {
    *stream << NameOf(wire);
}

std::vector<Wire> AllWires() {
    return {{"json", Protocol::kHttp, false},
            {"json", Protocol::kHttps, false},
            {"xml", Protocol::kHttp, false},
            {"xml", Protocol::kHttps, false}};
}

std::string OfferList(const std::vector<Offer> &offers, const std::string &format) {
    std::string list;
    for (const Offer &offer : offers) {
        const std::string type = std::to_string(offer.type);
        if (format == "json") {
            list += std::string(list.empty() ? "" : ",") + R"({"file":")" + offer.file +
                    R"(","md5":")" + offer.md5 + R"(","type":")" + type + R"(","path":")" +
                    offer.path + R"("})";
        } else {
            list += R"(<node file=")" + offer.file + R"(" md5=")" + offer.md5 + R"(" type=")" +
                    type + R"(" path=")" + offer.path + R"("/>)";
        }
    }
    return format == "json" ? R"({"node":[)" + list + "]}" : "<data>" + list + "</data>";
}

std::string StatusBody(const std::string &md5, int status, const std::string &format) {
    const std::string text = std::to_string(status);
    return format == "json" ? R"({"node":{"md5":")" + md5 + R"(","status":")" + text + R"("}})"
                            : "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<data>\n  <node md5=\"" +
                                  md5 + "\" status=\"" + text + "\"/>\n</data>\n";
}

std::string Md5Of(const std::string &content) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(content.data(), content.size(), digest, &length, EVP_md5(), nullptr);
    std::string text;
    for (unsigned i = 0; i < length; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", digest[i]);
        text += digits;
    }
    return text;
}

bool OwnMounts() {
    return unshare(CLONE_NEWNS) == 0 &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool UseGatewayShell() {
    char shell[PATH_MAX];
    return OwnMounts() && realpath("/bin/sh", shell) != nullptr &&
           mount("/bin/bash", shell, nullptr, MS_BIND, nullptr) == 0;
}

bool MountSmall(const std::string &folder, int bytes) {
    return mount("tmpfs", folder.c_str(), "tmpfs", 0, ("size=" + std::to_string(bytes)).c_str()) ==
           0;
}

bool MountReadOnly(const std::string &folder) {
    return mount("tmpfs", folder.c_str(), "tmpfs", MS_RDONLY, nullptr) == 0;
}

void RunCommand(const std::string &command) {
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

std::vector<std::string> Lines(const std::vector<Request> &requests) {
    std::vector<std::string> lines;
    lines.reserve(requests.size());
    for (const Request &request : requests) {
        lines.push_back(request.method + " " + request.path);
    }
    return lines;
}

std::string Inflated(const std::string &body) {
    constexpr uLongf kEnough = 1U << 20U;
    std::string text(kEnough, '\0');
    uLongf length = kEnough;
    EXPECT_EQ(uncompress(reinterpret_cast<Bytef *>(text.data()), &length,
                         reinterpret_cast<const Bytef *>(body.data()), body.size()),
              Z_OK);
    text.resize(length);
    EXPECT_FALSE(text.empty());
    if (!text.empty()) {
        EXPECT_EQ(text.back(), '\0');
        text.pop_back();
    }
    return text;
}

}  // namespace corvenna::test
