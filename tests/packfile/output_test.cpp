#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "base/xml.h"
#include "config/channel_set.h"
#include "config/sys_set.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/packfile/packing.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using Entries = std::vector<LogEntry>;

/// A small tmpfs at a folder, for as long as it lives.
class SmallFileSystem {
public:
    SmallFileSystem(std::string folder, const std::string &options) : folder_(std::move(folder)) {
        std::filesystem::create_directories(folder_);
        mounted_ = mount("tmpfs", folder_.c_str(), "tmpfs", 0, options.c_str()) == 0;
    }
    ~SmallFileSystem() {
        if (mounted_) {
            umount2(folder_.c_str(), MNT_DETACH);
        }
    }
    SmallFileSystem(const SmallFileSystem &) = delete;
    SmallFileSystem &operator=(const SmallFileSystem &) = delete;

    bool Mounted() const { return mounted_; }

private:
    std::string folder_;
    bool mounted_ = false;
};

/// Text that deflate can hardly shorten, made of characters that no format escapes.
std::string Noise(std::size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::string text(length, '\0');
    for (char &c : text) {
        c = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-"[random() % 64];
    }
    return text;
}

class Output : public EveryFormat {
protected:
    void AddNoise(unsigned points) {
        for (unsigned i = 0; i < points; ++i) {
            const std::uint32_t id = 0xC0010000 + i;
            AddPoint(id, Noise(126, 2 * i), Noise(126, 2 * i + 1));
            values_[id] = i * 1.37;
        }
    }

    /// What a call without compression writes.
    std::string PlainText() {
        Configure(GetParam());
        std::string text = RealDataText();
        std::filesystem::remove(files_.at(0));
        files_.clear();
        Configure(GetParam(), true);
        return text;
    }

    bool LoggedAt(int level) const {
        const Entries entries = log_.Text();
        return std::any_of(entries.begin(), entries.end(),
                           [level](const LogEntry &entry) { return entry.level == level; });
    }

    std::string Writer() const {
        return ByFormat("CreateRealDataJsonFile", "CreateRealDataXmlFile");
    }
};

INSTANTIATE_TEST_SUITE_P(Formats, Output, testing::Values("json", "xml"), FormatName);

TEST_P(Output, CompressedFileInflatesToTheDocumentAndOneNul) {
    AddNoise(3);
    const std::string plain = PlainText();
    const std::string compressed = RealDataText();
    EXPECT_EQ(Inflate(compressed), plain + '\0');
    EXPECT_EQ(compressed[0], '\x78');  // the stream starts with zlib's own header
    EXPECT_EQ(files_,
              std::vector<std::string>{"/tmp/up/S20240305070809." + std::string(GetParam()) + 'z'});
}

TEST_P(Output, CompressedAlarmsInflateToTheDocumentAndOneNul) {
    Configure(GetParam(), true);
    EXPECT_EQ(Inflate(AlarmDataText()),
              ByFormat(std::string("{\"node\":[]}"),
                       std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<data/>\n")) +
                  '\0');
    EXPECT_EQ(files_.at(0).substr(files_.at(0).rfind('.')), ByFormat(".jsonz", ".xmlz"));
}

TEST_P(Output, ResultOfACompressedFileIsZeroInJsonAndItsLengthInXml) {
    AddNoise(3);
    Configure(GetParam(), true);
    const std::int32_t result = CreateRealData();
    ASSERT_EQ(files_.size(), 1U);
    const auto length = static_cast<std::int32_t>(ReadFile(files_[0]).size());
    EXPECT_EQ(result, IsJson() ? 0 : length);
    EXPECT_EQ(log_.Text(),
              (Entries{{3, Writer() + ' ' + files_[0] + " Success" +
                               (IsJson() ? "" : ",fileSize:" + std::to_string(length))}}));
}

TEST_P(Output, AnyNonZeroSettingCompresses) {
    Configure(GetParam(), true);
    GetCSysSetInstance()->GetCloudConfigAttr()->isCompress = 0x80;
    CreateRealData();
    EXPECT_EQ(files_.at(0).back(), 'z');
}

// Noise costs a little less than a byte a character, so some length meets the limit exactly.
TEST_P(Output, ExactlyWhatTheBufferHoldsIsCompressed) {
    Configure(GetParam(), true);
    AddNoise(98);
    values_[0xC0FF0001] = 1;
    std::vector<std::size_t> compressed;
    std::size_t uncompressed = 0;
    for (std::size_t length = 60; length <= 252; ++length) {
        AddPoint(0xC0FF0001, Noise(std::min<std::size_t>(length, 126), 999),
                 Noise(length > 126 ? length - 126 : 0, 998));
        const std::string text = RealDataText();
        if (files_.at(0).back() == 'z') {
            compressed.push_back(text.size());
        } else {
            ++uncompressed;
        }
    }
    EXPECT_GT(uncompressed, 0U);
    EXPECT_EQ(*std::max_element(compressed.begin(), compressed.end()), 20480U);
}

TEST_P(Output, DocumentBeyondTheBufferIsWrittenUncompressed) {
    AddNoise(200);
    const std::string plain = PlainText();
    const Entries before = log_.Text();
    const std::int32_t result = CreateRealData();
    const std::string path = "/tmp/up/S20240305070809." + std::string(GetParam());
    EXPECT_EQ(files_, std::vector<std::string>{path});
    EXPECT_EQ(ListFolder(dir_), std::vector<std::string>{path.substr(8)});
    EXPECT_EQ(ReadFile(path), plain);
    EXPECT_EQ(result, IsJson() ? 0 : static_cast<std::int32_t>(plain.size()));
    ASSERT_EQ(log_.Text().size(), before.size() + 2);
    EXPECT_EQ(log_.Text()[before.size()].level, 4);
    EXPECT_EQ(log_.Text()[before.size() + 1],
              (LogEntry{3, Writer() + ' ' + path + " Success" +
                               (IsJson() ? "" : ",fileSize:" + std::to_string(result))}));
}

TEST_P(Output, AlarmsBeyondTheBufferAreWrittenUncompressed) {
    Configure(GetParam(), true);
    std::mt19937 random(1);
    for (int i = 0; i < 3000; ++i) {
        alarms_.push_back({static_cast<std::int32_t>(random()),
                           static_cast<std::uint32_t>(random()), static_cast<double>(random()),
                           static_cast<double>(random()), 1, 1});
    }
    const std::int32_t result = CreateAlarmData();
    ASSERT_EQ(files_.size(), 1U);
    EXPECT_EQ(files_[0].substr(files_[0].rfind('.')), ByFormat(".json", ".xml"));
    EXPECT_EQ(result, IsJson() ? 0 : static_cast<std::int32_t>(ReadFile(files_[0]).size()));
    EXPECT_TRUE(LoggedAt(4));
}

TEST_P(Output, CompressedFileThatCannotBeOpenedIsAnError) {
    Configure(GetParam(), true);
    dir_ = "/tmp/absent";
    EXPECT_EQ(CreateRealData(), -1);
    EXPECT_EQ(CreateAlarmData(), -1);
    EXPECT_TRUE(files_.empty());
    EXPECT_TRUE(LoggedAt(5));
    EXPECT_FALSE(LoggedAt(3));
}

TEST_P(Output, PipeInTheFilesPlaceFailsAtOnce) {
    for (const bool compress : {false, true}) {
        Configure(GetParam(), compress);
        const std::string pipe = dir_ + "/S20240305070809." + GetParam() + (compress ? "z" : "");
        ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        EXPECT_EQ(CreateRealData(), -1);
        EXPECT_TRUE(files_.empty());
        EXPECT_FALSE(LoggedAt(3));
        EXPECT_TRUE(LoggedAt(IsJson() || compress ? 5 : 4));
        EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    }
}

TEST(XmlOutput, FileThatCannotBeOpenedIsAWarning) {
    const LogCapture log;
    SetZone("UTC0");
    Configure("xml");
    char dir[] = "/tmp/absent";
    Real_Data_Struct values;
    std::vector<std::string> files;
    EXPECT_EQ(CreateRealDataFile(&values, dir, &files, kSampleTime), -1);
    EXPECT_TRUE(files.empty());
    EXPECT_EQ(log.Text(),
              (Entries{{4, "CreateRealDataXmlFile /tmp/absent/S20240305070809.xml failed"}}));
}

TEST(XmlOutput, AlarmFileThatCannotBeOpenedIsAWarning) {
    const LogCapture log;
    Configure("xml");
    char dir[] = "/tmp/absent";
    Alarm_Data_Struct alarms;
    std::vector<std::string> files;
    EXPECT_EQ(CreateAlarmDataFile(&alarms, dir, &files), -1);
    EXPECT_TRUE(files.empty());
    ASSERT_EQ(log.Text().size(), 1U);
    EXPECT_EQ(log.Text()[0].level, 4);
    EXPECT_EQ(log.Text()[0].text.substr(0, 37), "CreateAlarmDataXmlFile /tmp/absent/T2");
    EXPECT_EQ(log.Text()[0].text.substr(log.Text()[0].text.size() - 11), ".xml failed");
}

/// The folders below /tmp that hold the file which a writer makes of its path.
std::vector<std::string> WhereItLands(const std::vector<std::string> &folders,
                                      const std::function<void(const std::string &path)> &write,
                                      const std::string &dir) {
    for (const std::string &folder : folders) {
        std::filesystem::remove_all("/tmp/" + folder);
        std::filesystem::create_directories("/tmp/" + folder);
    }
    write(dir);
    std::vector<std::string> found;
    for (const std::string &folder : folders) {
        if (!ListFolder("/tmp/" + folder).empty()) {
            found.push_back(folder);
        }
    }
    return found;
}

void SaveByLibxml2(const std::string &folder) {
    const XmlDocument document(xmlNewDoc(ToXml("1.0")));
    xmlSaveFormatFileEnc((folder + "/file.xml").c_str(), document.get(), "UTF-8", 1);
}

using XmlPath = PackingTest;

TEST_F(XmlPath, LeadsWhereLibxml2SavesIt) {
    Configure("xml");
    const std::vector<std::vector<std::string>> kFolders = {{"a%20b", "a b"},
                                                            {"a%20b"},
                                                            {"a b"},
                                                            {"a%zz"},
                                                            {"a%2"},
                                                            {"50%"},
                                                            {"a%2520", "a%20"},
                                                            {"x:a%20b", "x:a b"},
                                                            {"a#%20b", "a# b"},
                                                            {"a?%41", "a?A"},
                                                            {"a^%41", "a^A"}};
    for (const auto &folders : kFolders) {
        const std::string dir = "/tmp/" + folders[0];
        const auto byLibxml2 = WhereItLands(folders, SaveByLibxml2, dir);
        const auto byUs = WhereItLands(
            folders,
            [this](const std::string &folder) {
                dir_ = folder;
                CreateRealData();
            },
            dir);
        EXPECT_EQ(byUs, byLibxml2) << dir;
    }
}

TEST_F(XmlPath, MayBeTheUrlOfAFile) {
    Configure("xml");
    const std::vector<std::string> folders = {"a b", "a%20b", "ab"};
    for (const char *dir :
         {"file:///tmp/ab", "FILE:///tmp/ab", "file://localhost/tmp/ab", "File://LocalHost/tmp/ab",
          "file:///tmp/a%20b", "FILE:///tmp/a%20b", "file%3A///tmp/ab", "file:/tmp/ab",
          "file://tmp/ab", "file://otherhost/tmp/ab", "file:///nowhere"}) {
        const auto byLibxml2 = WhereItLands(folders, SaveByLibxml2, dir);
        const auto byUs = WhereItLands(
            folders,
            [this](const std::string &folder) {
                dir_ = folder;
                CreateRealData();
            },
            dir);
        EXPECT_EQ(byUs, byLibxml2) << dir;
    }
}

using JsonOutput = PackingTest;

TEST_F(JsonOutput, FileThatCannotBeOpenedStopsTheProcessInRealData) {
    Configure("json");
    dir_ = "/tmp/absent";
    EXPECT_EXIT(
        CreateRealData(), testing::KilledBySignal(SIGABRT),
        "packfile/packfile:645: .*CPackFile::CreateRealDataJsonFile\\(Real_Data_Struct ?\\*, "
        "char ?\\*, .*: Assertion `ofs.is_open\\(\\)' failed\\.");
}

TEST_F(JsonOutput, FileThatCannotBeOpenedStopsTheProcessInAlarmData) {
    Configure("json");
    dir_ = "/tmp/absent";
    EXPECT_EXIT(CreateAlarmData(), testing::KilledBySignal(SIGABRT),
                "packfile/packfile:839: .*CPackFile::CreateAlarmDataJsonFile\\(Alarm_Data_Struct "
                "?\\*, char ?\\*, .*: Assertion `ofs.is_open\\(\\)' failed\\.");
}

TEST_F(JsonOutput, DocumentTooLongToCompressStopsTheProcessLikeAnUncompressedOne) {
    Configure("json", true);
    for (unsigned i = 0; i < 200; ++i) {
        AddPoint(0xC0010000 + i, Noise(126, i), "");
        values_[0xC0010000 + i] = i;
    }
    dir_ = "/tmp/absent";
    EXPECT_EXIT(CreateRealData(), testing::KilledBySignal(SIGABRT), "packfile/packfile:645: ");
}

class PathLength : public EveryFormat {
protected:
    /// A folder whose path has that many characters.
    static std::string Folder(std::size_t length) {
        std::string path = "/tmp/p";
        while (path.size() + 51 < length) {
            path += '/' + std::string(49, 'x');
        }
        path += '/' + std::string(length - path.size() - 1, 'y');
        std::filesystem::create_directories(path);
        return path;
    }
};

INSTANTIATE_TEST_SUITE_P(Formats, PathLength, testing::Values("json", "xml"), FormatName);

TEST_P(PathLength, NameThatEndsAt127CharactersIsWhole) {
    Configure(GetParam());
    const std::string name = "/S20240305070809." + std::string(GetParam());
    dir_ = Folder(127 - name.size());
    CreateRealData();
    EXPECT_EQ(files_, std::vector<std::string>{dir_ + name});
    EXPECT_EQ(ListFolder(dir_), std::vector<std::string>{name.substr(1)});
}

TEST_P(PathLength, NameBeyond127CharactersIsCut) {
    Configure(GetParam());
    const std::string name = "/S20240305070809." + std::string(GetParam());
    dir_ = Folder(128 - name.size());
    CreateRealData();
    EXPECT_EQ(files_, std::vector<std::string>{(dir_ + name).substr(0, 127)});
    EXPECT_EQ(ListFolder(dir_), std::vector<std::string>{name.substr(1, name.size() - 2)});
}

TEST_P(PathLength, FolderOf125CharactersLeavesOneCharacterForTheName) {
    Configure(GetParam());
    dir_ = Folder(125);
    CreateRealData();
    EXPECT_EQ(files_, std::vector<std::string>{dir_ + "/S"});
}

TEST_P(PathLength, FolderOf128CharactersGetsTheFileBesideIt) {
    Configure(GetParam());
    dir_ = Folder(128);
    CreateRealData();
    EXPECT_EQ(files_, std::vector<std::string>{dir_.substr(0, 127)});
    EXPECT_TRUE(ListFolder(dir_).empty());
}

TEST_P(PathLength, FolderThatTakesTheWholeNameCannotBeWrittenTo) {
    for (const std::size_t length : {126U, 127U}) {
        dir_ = Folder(length);
        Configure(GetParam(), true);
        EXPECT_EQ(CreateRealData(), -1) << length;
        EXPECT_EQ(CreateAlarmData(), -1) << length;
        Configure(GetParam());
        if (IsJson()) {
            EXPECT_EXIT(CreateRealData(), testing::KilledBySignal(SIGABRT), "645") << length;
            EXPECT_EXIT(CreateAlarmData(), testing::KilledBySignal(SIGABRT), "839") << length;
        } else {
            EXPECT_EQ(CreateRealData(), -1) << length;
            EXPECT_EQ(CreateAlarmData(), -1) << length;
        }
        EXPECT_TRUE(ListFolder(dir_).empty()) << length;
    }
    EXPECT_TRUE(files_.empty());
}

class FullFileSystem : public Output {
protected:
    void SetUp() override {
        if (!small_.Mounted()) {
            GTEST_SKIP() << "no file system can be mounted here: " << std::strerror(errno);
        }
        dir_ = "/tmp/small";
        AddNoise(60);  // more than 8 KiB, compressed or not
    }

    SmallFileSystem small_{"/tmp/small", "size=8k"};
};

INSTANTIATE_TEST_SUITE_P(Formats, FullFileSystem, testing::Values("json", "xml"), FormatName);

TEST_P(FullFileSystem, UncompressedFileIsNotListedAndTakenAway) {
    Configure(GetParam());
    EXPECT_EQ(CreateRealData(), -1);
    EXPECT_TRUE(files_.empty());
    EXPECT_TRUE(ListFolder(dir_).empty());
    const std::string path = dir_ + "/S20240305070809." + GetParam();
    Entries expected{
        {5, "Data file " + path + ": write failed: " + std::strerror(ENOSPC)},
        {4, "CreateRealDataXmlFile " + path + " failed"},
    };
    if (IsJson()) {
        expected.pop_back();
    }
    EXPECT_EQ(log_.Text(), expected);
}

TEST_P(FullFileSystem, CompressedFileIsNotListedAndTakenAway) {
    Configure(GetParam(), true);
    EXPECT_EQ(CreateRealData(), -1);
    EXPECT_TRUE(files_.empty());
    EXPECT_FALSE(LoggedAt(3));
    EXPECT_TRUE(LoggedAt(5));
    EXPECT_TRUE(ListFolder(dir_).empty());
}

TEST_P(FullFileSystem, SmallFileStillFits) {
    Configure(GetParam());
    EXPECT_EQ(CreateAlarmData() == -1, false);
    EXPECT_EQ(files_.size(), 1U);
}

TEST_P(FullFileSystem, ShortCompressedFileThatFailsOnlyWhenClosedIsNotListed) {
    WriteFile("/tmp/small/filler", std::string(8192, 'f'));
    Configure(GetParam(), true);
    EXPECT_EQ(CreateAlarmData(), -1);
    EXPECT_TRUE(files_.empty());
    EXPECT_FALSE(LoggedAt(3));
    ASSERT_FALSE(log_.Text().empty());
    EXPECT_EQ(log_.Text()[0].level, 5);
    EXPECT_NE(log_.Text()[0].text.find("close failed"), std::string::npos) << log_.Text()[0].text;
    EXPECT_EQ(ListFolder(dir_), std::vector<std::string>{"filler"});
}

TEST_P(FullFileSystem, XmlIsTakenAwayByTheNameItWasOpenedWith) {
    Configure(GetParam());
    dir_ = "/tmp/sm%61ll";
    std::filesystem::create_directories(dir_);
    WriteFile(dir_ + "/S20240305070809.xml", "another file");
    CreateRealData();
    EXPECT_TRUE(ListFolder("/tmp/small").empty());
    EXPECT_EQ(ReadFile(dir_ + "/S20240305070809.xml"), "another file");
}

TEST_P(FullFileSystem, ReadOnlyFolderStopsOrFails) {
    ASSERT_EQ(mount(nullptr, "/tmp/small", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    Configure(GetParam());
    if (IsJson()) {
        EXPECT_EXIT(CreateRealData(), testing::KilledBySignal(SIGABRT), "645");
    } else {
        EXPECT_EQ(CreateRealData(), -1);
    }
    Configure(GetParam(), true);
    EXPECT_EQ(CreateRealData(), -1);
    EXPECT_TRUE(files_.empty());
}

}  // namespace
}  // namespace corvenna::test
