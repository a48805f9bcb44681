#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "log/log.h"
#include "tests/config/loaders.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"
#include "tests/support/pauses.h"

// Configuration is local and trusted, and may yet be damaged: power fails, cards wear out. What
// these tests show is that the host lives; the sanitizers' runs show that nothing is read or leaked
// on the way.

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/quorvane/Config/damaged.xml";

class DamagedFile : public testing::TestWithParam<Loader> {
protected:
    /// Loads a file of that content. Nothing goes to the terminal; a failure is logged at ERROR,
    /// each time.
    int Load(const std::string &content) {
        WriteFile(kPath, content);
        return LoadWhatIsThere();
    }

    int LoadWhatIsThere() {
        const LogCapture log;
        int result = 0;
        testing::internal::CaptureStderr();
        Printed([&] { result = GetParam().load(kPath); });
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
        log_ = log.Text();
        EXPECT_TRUE(result == 0 || result == -1) << result;
        EXPECT_TRUE(result == 0 || !log_.empty());
        for (const LogEntry &entry : log_) {
            EXPECT_EQ(kLogError, entry.level) << entry.text;
        }
        return result;
    }

    /// Expects what a file that is no XML gives: -1 and the loader's own message, nothing else.
    void ExpectParseFailure(const std::string &content) {
        WriteFile(kPath, content);
        ExpectParseFailureOfWhatIsThere();
    }

    void ExpectParseFailureOfWhatIsThere() {
        EXPECT_EQ(-1, LoadWhatIsThere());
        std::string message = GetParam().parseFailure;
        if (const std::size_t path = message.find("%s"); path != std::string::npos) {
            message.replace(path, 2, kPath);
        }
        EXPECT_EQ((std::vector<LogEntry>{{kLogError, message}}), log_);
    }

    /// The loader's document with a text in front of its last attribute's value.
    static std::string WithLastAttribute(const std::string &text) {
        std::string document = GetParam().document;
        document.insert(document.rfind("=\"") + 2, text);
        return document;
    }

    /// The loader's document with children in front of its root's.
    static std::string WithChildren(const std::string &children) {
        std::string document = GetParam().document;
        document.insert(document.rfind("</"), children);
        return document;
    }

    /// The loader's document behind a document type of its own.
    static std::string WithDoctype(const std::string &declarations, const std::string &document) {
        const std::size_t end = document.find("?>");
        return "<!DOCTYPE x [" + declarations + "]>" +
               (end == std::string::npos ? document : document.substr(end + 2));
    }

private:
    const PauseRecorder pauses_;
    std::vector<LogEntry> log_;
};

TEST_P(DamagedFile, WithoutDamageLoads) {
    EXPECT_EQ(0, Load(GetParam().document));
}

TEST_P(DamagedFile, CutAtAnyByteIsAParseFailure) {
    const std::string document = GetParam().document;
    for (std::size_t length = 0; length < document.size(); ++length) {
        SCOPED_TRACE(length);
        ExpectParseFailure(document.substr(0, length));
    }
}

TEST_P(DamagedFile, WithRandomBytesLoadsOrFailsWithAMessage) {
    std::mt19937 random(20240305);
    const std::string document = GetParam().document;
    for (int round = 0; round < 200; ++round) {
        std::string damaged = document;
        for (unsigned hits = 1 + random() % 8; hits > 0; --hits) {
            damaged[random() % damaged.size()] = static_cast<char>(random());
        }
        Load(damaged);
    }
}

TEST_P(DamagedFile, OfRandomBytesIsAParseFailure) {
    std::mt19937 random(20240306);
    for (int round = 0; round < 50; ++round) {
        std::string noise(1 + random() % 2000, '\0');
        for (char &c : noise) {
            c = static_cast<char>(random());
        }
        ExpectParseFailure(noise);
    }
}

TEST_P(DamagedFile, ThatTheSystemMakesUpIsAParseFailure) {
    // The size of each is told as 0, and the last cannot be read at its begin.
    for (const char *file : {"/proc/self/status", "/proc/sys/kernel/ostype", "/proc/self/mem"}) {
        SCOPED_TRACE(file);
        ASSERT_EQ(0, symlink(file, kPath));
        ExpectParseFailureOfWhatIsThere();
        ASSERT_EQ(0, unlink(kPath));
    }
}

TEST_P(DamagedFile, ThatIsNotUtf8IsAParseFailure) {
    ExpectParseFailure(WithLastAttribute("\xC3\x28"));
    ExpectParseFailure(WithLastAttribute("\xB0"));
    ExpectParseFailure(std::string(GetParam().document) + "\xC3\x28\x80");
    ExpectParseFailure(std::string(4096, '\0'));
}

TEST_P(DamagedFile, OfTwoByteCharactersIsSurvived) {
    std::string wide = "\xFF\xFE";
    for (const char *c = GetParam().document; *c != '\0'; ++c) {
        wide += *c;
        wide += '\0';
    }
    Load(wide);
}

TEST_P(DamagedFile, KeepsAttributesUpToTheParsersLimitOfTenMillionBytes) {
    EXPECT_EQ(0, Load(WithLastAttribute(std::string(100'000, '9'))));
    ExpectParseFailure(WithLastAttribute(std::string(11'000'000, '9')));
}

TEST_P(DamagedFile, NestedDeeplyIsAParseFailure) {
    std::string nested;
    for (int i = 0; i < 100'000; ++i) {
        nested += "<a>";
    }
    ExpectParseFailure(nested);
    for (int i = 0; i < 100'000; ++i) {
        nested += "</a>";
    }
    ExpectParseFailure(WithChildren(nested));
}

TEST_P(DamagedFile, WithExplodingEntitiesIsAParseFailure) {
    std::string bomb = "<!ENTITY a0 \"aaaaaaaaaa\">";
    for (int i = 1; i < 12; ++i) {
        bomb += "<!ENTITY a" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j) {
            bomb += "&a" + std::to_string(i - 1) + ";";
        }
        bomb += "\">";
    }
    ExpectParseFailure(WithDoctype(bomb, WithLastAttribute("&a11;")));
}

TEST_P(DamagedFile, NamingALongEntityTensOfThousandsOfTimesLoads) {
    std::string names;
    for (int i = 0; i < 20'000; ++i) {
        names += "&e;";
    }
    EXPECT_EQ(0, Load(WithDoctype("<!ENTITY e \"" + std::string(20'000, '9') + "\">",
                                  WithLastAttribute(names))));
}

TEST_P(DamagedFile, NamingAnExternalEntityInAnAttributeIsAParseFailure) {
    WriteFile("/quorvane/secret", "secret");
    ExpectParseFailure(
        WithDoctype("<!ENTITY s SYSTEM \"/quorvane/secret\">", WithLastAttribute("&s;")));
}

TEST_P(DamagedFile, NamingExternalEntitiesElsewhereLoads) {
    EXPECT_EQ(0, Load(WithDoctype("<!ENTITY s SYSTEM \"/quorvane/none\">"
                                  "<!ENTITY % d SYSTEM \"http://127.0.0.1:9/x\">%d;",
                                  WithChildren("&s;"))));
}

TEST_P(DamagedFile, ThatWasFuzzedIsSurvived) {
    const std::string folder = std::string(CORPUS) + '/' + GetParam().name;
    const std::vector<std::string> names = ListFolder(folder);
    EXPECT_FALSE(names.empty()) << folder;
    for (const std::string &name : names) {
        SCOPED_TRACE(name);
        Load(ReadFile(folder + '/' + name));
    }
}

INSTANTIATE_TEST_SUITE_P(Loaders, DamagedFile, testing::ValuesIn(kLoaders),
                         [](const auto &loader) { return std::string(loader.param.name); });

TEST(LargeFile, OfOneHundredThousandPointsIsLoadedWhole) {
    std::string document = "<DevConfig><NodeProperty><AI>";
    for (int i = 0; i < 100'000; ++i) {
        document += "<Node Id=\"" + std::to_string(i) + "\" Name=\"p" + std::to_string(i) + "\"/>";
    }
    WriteFile(kPath, document + "</AI></NodeProperty></DevConfig>");
    CChannelSet set;
    ST_DEV_ATTR dev{};
    std::string(kPath).copy(dev.Name, sizeof dev.Name - 1);
    EXPECT_EQ(0, set.LoadDevPointAttr(dev));
    MAP_POINTID_ATTR *points = nullptr;
    set.GetAttr(&points);
    EXPECT_EQ(4096U, points->size()) << "as many as data ids can tell apart";
    EXPECT_STREQ("p98304", points->at(0).Name) << "the last of those that fold together";
}

}  // namespace
}  // namespace corvenna::test
