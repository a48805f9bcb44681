#include <gtest/gtest.h>

#include <random>
#include <string>

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
    /// Loads a file of that content without its diagnostics.
    void Load(const std::string &content) {
        WriteFile(kPath, content);
        testing::internal::CaptureStderr();
        Printed([&] { GetParam().load(kPath); });
        testing::internal::GetCapturedStderr();
    }

private:
    const PauseRecorder pauses_;
    const LogCapture log_;
};

TEST_P(DamagedFile, CutAtAnyByteIsSurvived) {
    const std::string document = GetParam().document;
    for (std::size_t length = 0; length <= document.size(); ++length) {
        Load(document.substr(0, length));
    }
}

TEST_P(DamagedFile, WithRandomBytesIsSurvived) {
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

TEST_P(DamagedFile, InAnotherEncodingIsSurvived) {
    const std::string document = GetParam().document;
    std::string wide = "\xFF\xFE";
    for (const char c : document) {
        wide += c;
        wide += '\0';
    }
    Load(wide);
    Load("<?xml version=\"1.0\" encoding=\"EBCDIC-XX\"?>" + document);
    Load(document + "\xC3\x28\x80");
    Load(std::string(4096, '\0'));
}

TEST_P(DamagedFile, WithHugeAttributesIsSurvived) {
    std::string document = GetParam().document;
    const std::size_t quote = document.rfind("=\"");
    for (const std::size_t length : {100'000U, 11'000'000U}) {
        std::string huge = document;
        huge.insert(quote + 2, length, '9');
        Load(huge);
    }
}

TEST_P(DamagedFile, NestedDeeplyIsSurvived) {
    std::string nested;
    for (int i = 0; i < 100'000; ++i) {
        nested += "<a>";
    }
    Load(nested);
}

TEST_P(DamagedFile, WithExplodingEntitiesIsSurvived) {
    std::string bomb = "<!DOCTYPE x [<!ENTITY a0 \"aaaaaaaaaa\">";
    for (int i = 1; i < 12; ++i) {
        bomb += "<!ENTITY a" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j) {
            bomb += "&a" + std::to_string(i - 1) + ";";
        }
        bomb += "\">";
    }
    bomb += "]>";
    std::string document = GetParam().document;
    document.insert(document.rfind("=\"") + 2, "&a11;");
    const std::size_t declaration = document.find("?>");
    Load(bomb + (declaration == std::string::npos ? document : document.substr(declaration + 2)));
}

TEST_P(DamagedFile, NamingExternalEntitiesReadsNothing) {
    WriteFile("/quorvane/secret", "secret");
    Load(
        "<!DOCTYPE x [<!ENTITY s SYSTEM \"/quorvane/secret\">"
        "<!ENTITY % d SYSTEM \"http://127.0.0.1:9/x\">%d;]><x>&s;</x>");
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
