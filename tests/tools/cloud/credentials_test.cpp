#include "tools/cloud/access/credentials.h"

#include <crypt.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "tests/support/files.h"

namespace corvenna::cloud {
namespace {

std::string Hash(const std::string &password, const char *method = "$2b$") {
    char setting[CRYPT_GENSALT_OUTPUT_SIZE];
    const auto data = std::make_unique<crypt_data>();
    EXPECT_NE(crypt_gensalt_rn(method, 4, nullptr, 0, setting, sizeof setting), nullptr);
    return crypt_rn(password.c_str(), setting, data.get(), sizeof *data);
}

class CredentialsFile : public testing::Test {
protected:
    Credentials Read(const std::string &text) {
        test::WriteFile(path_, text);
        return Credentials(path_);
    }

    std::string Refusal(const std::string &text) {
        try {
            Read(text);
            return "";
        } catch (const std::runtime_error &error) {
            return error.what();
        }
    }

    const std::string path_ = "/tmp/users";
};

TEST_F(CredentialsFile, OnlyTheRightPasswordOfTheUserIsAccepted) {
    Credentials users = Read("anna:" + Hash("one") + "\nbert:" + Hash("two") + "\n");
    // Twice: the second time the answer is remembered.
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(users.Accept({"anna", "one"}));
        EXPECT_TRUE(users.Accept({"bert", "two"}));
        EXPECT_FALSE(users.Accept({"anna", "two"}));
        EXPECT_FALSE(users.Accept({"nobody", "one"}));
        EXPECT_FALSE(users.Accept({"anna", ""}));
        EXPECT_FALSE(users.Accept({"", "one"}));
        EXPECT_FALSE(users.Accept({"anna", std::string("one\0", 4)}));
    }
}

TEST_F(CredentialsFile, CommentsEmptyLinesAndCarriageReturnsAreSkipped) {
    EXPECT_TRUE(Read("# users\n\nanna:" + Hash("one") + "\r\n").Accept({"anna", "one"}));
}

TEST_F(CredentialsFile, HtpasswdsNameOfBcryptIsRead) {
    EXPECT_TRUE(Read("anna:" + Hash("one", "$2y$")).Accept({"anna", "one"}));
}

TEST_F(CredentialsFile, RefusalsNameTheLine) {
    const std::string good = "anna:" + Hash("one") + "\n";
    EXPECT_EQ(Refusal(good + "bert\n"), path_ + ":2: a line is name:hash");
    EXPECT_EQ(Refusal(":" + Hash("one")), path_ + ":1: a line is name:hash");
    EXPECT_EQ(Refusal(good + good), path_ + ":2: this user was named before");
    for (const char *hash : {"", "plain", "$apr1$ab$cd", "$2b$04$short", "*"}) {
        EXPECT_EQ(Refusal(good + "bert:" + hash),
                  path_ + ":2: no usable hash; htpasswd -B makes one")
            << hash;
    }
    EXPECT_EQ(Refusal("# nobody\n"), path_ + " names no user");
}

TEST(CredentialsOfNoFile, AreRefused) {
    EXPECT_THROW(Credentials("/nothing/here"), std::runtime_error);
}

TEST(Basic, IsReadWithItsPaddingAndColons) {
    const auto given = ReadBasic("basic  YW5uYTpvOm5l");  // anna:o:ne
    ASSERT_TRUE(given);
    EXPECT_EQ(given->name, "anna");
    EXPECT_EQ(given->password, "o:ne");
    EXPECT_EQ(ReadBasic("Basic YTo=")->password, "");
    EXPECT_EQ(ReadBasic("Basic YTpiYw==")->password, "bc");
}

TEST(Basic, WhatIsNoneIsNone) {
    for (const char *text : {"", "Basic", "Basic ", "Basic YW5u", "Basic YTo",
                             "Basic ====", "Basic ?a==", "Bearer YTo=", "BasicYTo="}) {
        EXPECT_FALSE(ReadBasic(text)) << text;
    }
}

TEST(Bearer, IsTheTextBehindTheScheme) {
    EXPECT_EQ(ReadBearer("bearer  abc "), "abc");
    for (const char *text : {"", "Bearer", "Bearer ", "Basic abc"}) {
        EXPECT_FALSE(ReadBearer(text)) << text;
    }
}

TEST(Secrets, AreEqualWhole) {
    EXPECT_TRUE(EqualSecrets("abc", "abc"));
    EXPECT_FALSE(EqualSecrets("abc", "abd"));
    EXPECT_FALSE(EqualSecrets("abc", "ab"));
}

}  // namespace
}  // namespace corvenna::cloud
