// A host whose log, disk, locale or start goes wrong: it stays alive, every call ends as its
// contract says, both logs hold what they can, and once the fault is gone everything works.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/handle.h"
#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/host.h"
#include "tests/plugin/life.h"
#include "tests/support/files.h"

namespace {

// The log's writers, which the tests wait for and hold back instead of being quick.
std::atomic<int> gSleeps{0};
std::atomic<bool> gWritersAreHeld{false};
std::atomic<pthread_t> gHost{};

void RealPause(time_t seconds, long microseconds) {
    constexpr long kMicroseconds = 1000000;  // in a second
    const timespec time{seconds + microseconds / kMicroseconds,
                        microseconds % kMicroseconds * 1000};
    nanosleep(&time, nullptr);
}

void WaitWhileHeld() {
    while (gWritersAreHeld && pthread_self() != gHost) {
        RealPause(0, 1000);
    }
}

/// By the thread that lives a host's life.
void HoldWriters(bool hold) {
    gHost = pthread_self();
    gWritersAreHeld = hold;
}

}  // namespace

// The plug-in finds these before the C library's.

#pragma GCC diagnostic push
// The C library's own declarations carry attributes that need not be repeated here.
#pragma GCC diagnostic ignored "-Wredundant-decls"

extern "C" {

/// Between the rounds of a writer.
[[gnu::visibility("default")]] unsigned sleep(unsigned seconds) {
    ++gSleeps;
    RealPause(static_cast<time_t>(seconds), 0);
    WaitWhileHeld();
    return 0;
}

/// Between attempts at a locked database, and between devices.
[[gnu::visibility("default")]] int usleep(useconds_t microseconds) {
    RealPause(0, static_cast<long>(microseconds));
    WaitWhileHeld();
    return 0;
}
}

#pragma GCC diagnostic pop

namespace corvenna::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kDatabase[] = "/tmp/CloudLog/Cloudlog.db";
constexpr char kElsewhere[] = "/quorvane/data";
constexpr char kRecalls[] =
    R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":"1970-01-01 01:00:00"}]})";

Answer WellAnswer(const Request &request) {
    if (request.method == "DELETE") {
        return Reply(204);
    }
    return Reply(200, request.method == "GET" ? kRecalls : "");
}

/// Produces a file. @return its path, "" when that was refused.
std::string Produce(const Plugin &plugin, std::string folder) {
    std::map<unsigned int, double> values = {{0x02010001, 229.87}, {0x02010100, 1.0}};
    std::vector<std::string> files;
    const int result = plugin.CreateRealDataFile(&values, folder.data(), &files, 1709622489);
    return result >= 0 && files.size() == 1 ? files[0] : "";
}

/// Whether every call that needs no folder of the fault's works.
bool EverythingWorks(const Plugin &plugin) {
    std::string file = Produce(plugin, kElsewhere);
    std::vector<Alarm> alarms(3);
    std::vector<std::string> files;
    std::string folder = kElsewhere;
    std::vector<Range> ranges;
    Range range{0, 3600};
    return !file.empty() && plugin.CreateAlarmDataFile(&alarms, folder.data(), &files) >= 0 &&
           plugin.PrePost() == 0 && plugin.UploadRealDataFile(file.data()) == 0 &&
           plugin.UploadAlarmDataFile(files[0].c_str()) == 0 && plugin.CheckRecall(&ranges) == 0 &&
           ranges.size() == 1 && plugin.DeleteRecall(&range) == 0 && plugin.SyncHeartBeat() == 0;
}

/// A life that meets a fault after Init and lives on when it is gone. @return 0 when all was well.
struct Fault {
    std::function<bool()> strike = [] { return true; };
    /// What is wrong with calls while it lasts; 0 when nothing is.
    std::function<int(const Plugin &)> during = [](const Plugin &) { return 0; };
    std::function<bool()> mend = [] { return true; };
    bool beforeInit = false;
};

int Live(const Fault &fault) {
    const Plugin plugin;
    Intervals intervals{};
    if (fault.beforeInit && !fault.strike()) {
        return 1;
    }
    if (plugin.Init(&intervals) != 0) {
        return 2;
    }
    if (!fault.beforeInit && !fault.strike()) {
        return 3;
    }
    plugin.log_Text(3, "while it lasts");
    if (!EverythingWorks(plugin)) {
        return 4;
    }
    const int wrong = fault.during(plugin);
    if (wrong != 0) {
        return wrong;
    }
    if (!fault.mend()) {
        return 5;
    }
    plugin.log_Text(3, "when it is gone");
    return EverythingWorks(plugin) ? 0 : 6;
}

/// A host with a cloud that is well, and one life of it.
class HostFault : public testing::Test {
protected:
    /// @return the exit code.
    int LiveWith(const Fault &fault) {
        Life life([&fault] { return Live(fault); });
        mkdir(kElsewhere, 0755);
        ScriptedServer server;
        GatewayOn(server.Port(), "xml").Write();
        server.Otherwise([](const Request &request) {
            const bool asks = request.method == "GET";
            return asks ? Reply(200, R"(<data><node startdt="1970-01-01 00:00:00" )"
                                     R"(enddt="1970-01-01 01:00:00"/></data>)")
                        : WellAnswer(request);
        });
        const int status = life.Run();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

using Database = std::unique_ptr<sqlite3, FreedBy<sqlite3_close>>;

Database OpenDatabase() {
    sqlite3 *database = nullptr;
    EXPECT_EQ(sqlite3_open(kDatabase, &database), SQLITE_OK);
    return Database(database);
}

std::vector<std::string> StartsInDatabase() {
    std::vector<std::string> texts;
    const auto keep = [](void *list, int, char **values, char **) {
        static_cast<std::vector<std::string> *>(list)->emplace_back(values[0]);
        return 0;
    };
    sqlite3_exec(OpenDatabase().get(), "SELECT log_Desc FROM log_tbl", keep, &texts, nullptr);
    return texts;
}

// ---- The log's database ----

/// Lives with the fault, then, that being mended, a second time.
class LogDatabaseThatIs : public HostFault {
protected:
    void ExpectHarmless(const Fault &fault) {
        Fault atOnce = fault;
        atOnce.beforeInit = true;
        EXPECT_EQ(LiveWith(atOnce), 0);
        EXPECT_THAT(TextLog(), HasSubstr(" while it lasts\n"));
        EXPECT_THAT(TextLog(), HasSubstr(" when it is gone\n"));
    }

    void ExpectTheNextLifeStoresItsStart() {
        EXPECT_EQ(LiveWith({}), 0);
        EXPECT_THAT(StartsInDatabase(), ElementsAre("Corvenna Start running"));
    }
};

TEST_F(LogDatabaseThatIs, GarbageIsLeftAloneAndCostsItsOwnEntriesOnly) {
    const std::string garbage(5000, 'g');
    Fault fault;
    fault.strike = [&] {
        WriteFile(kDatabase, garbage);
        return true;
    };
    ExpectHarmless(fault);
    EXPECT_EQ(ReadFile(kDatabase), garbage);
    ASSERT_EQ(unlink(kDatabase), 0);
    ExpectTheNextLifeStoresItsStart();
}

TEST_F(LogDatabaseThatIs, DamagedInTheMiddleCostsItsOwnEntriesOnly) {
    ExpectTheNextLifeStoresItsStart();
    std::string damaged = ReadFile(kDatabase);
    ASSERT_GT(damaged.size(), 4096U);
    for (std::size_t at = 200; at < damaged.size(); ++at) {
        damaged[at] = static_cast<char>(at * 37);
    }
    Fault fault;
    fault.strike = [&] {
        WriteFile(kDatabase, damaged);
        return true;
    };
    ExpectHarmless(fault);
    ASSERT_EQ(unlink(kDatabase), 0);
    ExpectTheNextLifeStoresItsStart();
}

TEST_F(LogDatabaseThatIs, LockedIsWaitedForAndThenWritten) {
    ExpectTheNextLifeStoresItsStart();
    sqlite3 *database = nullptr;
    Fault fault;
    fault.strike = [&] {
        HoldWriters(true);  // in the first of their pauses: they make no more than twenty
        return sqlite3_open(kDatabase, &database) == SQLITE_OK &&
               sqlite3_exec(database, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr) == SQLITE_OK;
    };
    fault.mend = [&] {
        const bool unlocked =
            sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK &&
            sqlite3_close(database) == SQLITE_OK;
        HoldWriters(false);
        return unlocked;
    };
    ExpectHarmless(fault);
    EXPECT_THAT(StartsInDatabase(),
                ElementsAre("Corvenna Start running", "Corvenna Start running"));
}

TEST_F(LogDatabaseThatIs, BesideAHugeJournalOfAnotherKindIsWritten) {
    constexpr off_t kHuge = off_t{1} << 30;
    ExpectTheNextLifeStoresItsStart();
    const std::string journal = std::string(kDatabase) + "-wal";
    Fault fault;
    fault.strike = [&] {
        WriteFile(journal, "");
        return truncate(journal.c_str(), kHuge) == 0;
    };
    ExpectHarmless(fault);
    EXPECT_NE(access(journal.c_str(), F_OK), 0);
    EXPECT_THAT(StartsInDatabase(),
                ElementsAre("Corvenna Start running", "Corvenna Start running"));
}

TEST_F(LogDatabaseThatIs, DeletedIsMadeAgain) {
    ExpectTheNextLifeStoresItsStart();
    Fault fault;
    fault.strike = [] { return unlink(kDatabase) == 0; };
    ExpectHarmless(fault);
    EXPECT_THAT(StartsInDatabase(), ElementsAre("Corvenna Start running"));
}

TEST_F(LogDatabaseThatIs, AFolderCostsItsOwnEntriesOnly) {
    Fault fault;
    fault.strike = [] {
        WriteFile(std::string(kDatabase) + "/file", "");
        return true;
    };
    ExpectHarmless(fault);
    ASSERT_EQ(unlink("/tmp/CloudLog/Cloudlog.db/file"), 0);
    ASSERT_EQ(rmdir(kDatabase), 0);
    ExpectTheNextLifeStoresItsStart();
}

TEST_F(LogDatabaseThatIs, OfAnotherSchemaCostsItsOwnEntriesOnly) {
    Fault fault;
    fault.strike = [] {
        mkdir("/tmp/CloudLog", 0755);
        return sqlite3_exec(OpenDatabase().get(), "CREATE TABLE log_tbl(log_Desc INTEGER)", nullptr,
                            nullptr, nullptr) == SQLITE_OK;
    };
    ExpectHarmless(fault);
    EXPECT_THAT(StartsInDatabase(), IsEmpty());
    ASSERT_EQ(unlink(kDatabase), 0);
    ExpectTheNextLifeStoresItsStart();
}

// ---- /tmp ----

/// Only where /tmp is the sandbox's own and mounts are allowed.
bool MayTakeTmp() {
    struct statfs root {};
    return OwnMounts() && statfs("/", &root) == 0 && root.f_type == TMPFS_MAGIC;
}

/// While /tmp takes nothing, neither kind of file is produced there, and none is left.
int NothingIsProduced(const Plugin &plugin) {
    for (const char *folder : {"/tmp", "/tmp/none"}) {
        std::string name = folder;
        std::vector<Alarm> alarms(3);
        std::vector<std::string> files;
        if (!Produce(plugin, folder).empty() ||
            plugin.CreateAlarmDataFile(&alarms, name.data(), &files) != -1 || !files.empty()) {
            return 7;
        }
    }
    for (const std::string &name : ListFolder("/tmp")) {
        if (name.find(".xml") != std::string::npos) {
            return 8;
        }
    }
    return 0;
}

class TmpThatIs : public HostFault {
protected:
    void SetUp() override {
        if (!MayTakeTmp()) {
            GTEST_SKIP() << "no mount namespace of its own";
        }
    }

    void ExpectHarmless(const Fault &fault) {
        EXPECT_EQ(LiveWith(fault), 0);
        EXPECT_THAT(TextLog(), HasSubstr(" when it is gone\n"));
    }
};

/// When the writers sleep: a journal of theirs that goes would leave room.
bool FillTmp() {
    constexpr int kWriters = 2;
    while (gSleeps < kWriters) {
        std::this_thread::yield();
    }
    HoldWriters(true);
    std::FILE *file = std::fopen("/tmp/filler", "wb");
    if (file == nullptr) {
        return false;
    }
    const std::string piece(512, 'f');
    while (std::fwrite(piece.data(), 1, piece.size(), file) == piece.size() &&
           std::fflush(file) == 0) {
    }
    std::fclose(file);  // fails like the last write
    return true;
}

TEST_F(TmpThatIs, FullTakesNoFileAndStopsNothing) {
    constexpr int kBytes = 4 << 20;
    ASSERT_TRUE(MountSmall("/tmp", kBytes));
    Fault fault;
    fault.strike = FillTmp;
    fault.during = NothingIsProduced;
    fault.mend = [] {
        HoldWriters(false);
        return unlink("/tmp/filler") == 0;
    };
    ExpectHarmless(fault);
}

TEST_F(TmpThatIs, ReadOnlyTakesNoFileAndStopsNothing) {
    ASSERT_TRUE(MountSmall("/tmp", 4 << 20));
    Fault fault;
    fault.strike = [] {
        return mount(nullptr, "/tmp", nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    };
    fault.during = NothingIsProduced;
    fault.mend = [] { return mount(nullptr, "/tmp", nullptr, MS_REMOUNT, nullptr) == 0; };
    fault.beforeInit = true;
    ExpectHarmless(fault);
    EXPECT_THAT(TextLog(), HasSubstr(" while it lasts\n")) << "what waited is written";
}

TEST_F(TmpThatIs, LostIsMadeAgainByTheLogAndStopsNothing) {
    Fault fault;
    fault.strike = [] { return std::rename("/tmp", "/tmp-lost") == 0; };
    fault.during = [](const Plugin &plugin) {
        return Produce(plugin, "/tmp/none").empty() ? 0 : 7;
    };
    ExpectHarmless(fault);
}

// ---- Starts ----

/// @return 0 when calls around failed starts end as they should.
int StartThrice() {
    const Plugin plugin;
    Intervals intervals{};
    std::vector<Range> ranges;
    Range range{};
    const std::string sys = ReadFile("/quorvane/Config/sys.xml");
    for (const char *damage : {"", "<sysConfig", "no markup at all"}) {
        WriteFile("/quorvane/Config/sys.xml", damage);
        if (plugin.Init(&intervals) != -1 || plugin.Init(nullptr) != -1) {
            return 1;
        }
        // Nothing is stated about these but that the host goes on.
        plugin.PrePost();
        plugin.CheckRecall(&ranges);
        plugin.DeleteRecall(&range);
        Produce(plugin, kElsewhere);
        if (plugin.SyncHeartBeat() != 0) {
            return 2;
        }
    }
    WriteFile("/quorvane/Config/sys.xml", sys);
    if (plugin.Init(&intervals) != 0 || intervals.realData != 60) {
        return 3;
    }
    return EverythingWorks(plugin) ? 0 : 4;
}

/// A host with a cloud in JSON, whose requests it keeps.
class HostStart : public testing::Test {
protected:
    int Run(int (*body)()) {
        Life life(body);
        mkdir(kElsewhere, 0755);
        ScriptedServer server;
        server.Otherwise(WellAnswer);
        GatewayOn(server.Port()).Write();
        const int status = life.Run();
        requests_ = server.Requests();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    std::vector<std::string> BodiesFor(const std::string &path) const {
        std::vector<std::string> bodies;
        for (const Request &request : requests_) {
            if (request.path == path) {
                bodies.push_back(request.body);
            }
        }
        return bodies;
    }

private:
    std::vector<Request> requests_;
};

TEST_F(HostStart, ThatFailsMayBeTriedAgainAndCallsAroundItHarmNothing) {
    EXPECT_EQ(Run(StartThrice), 0);
    EXPECT_THAT(TextLog(), HasSubstr("Parse sys.xml failed"));
    EXPECT_THAT(TextLog(), HasSubstr("Interval_info pointer is null"));
}

/// @return 0 when a second start leaves everything as after the first.
int StartTwice() {
    const Plugin plugin;
    Intervals first{};
    Intervals second{};
    if (plugin.Init(&first) != 0 || !EverythingWorks(plugin) || plugin.Init(&second) != 0) {
        return 1;
    }
    return second.recall == first.recall && EverythingWorks(plugin) ? 0 : 2;
}

TEST_F(HostStart, ThatIsRepeatedDoublesNothing) {
    EXPECT_EQ(Run(StartTwice), 0);
    for (const char *path : {"/cloud/gateway", "/cloud/device/GW4567", "/cloud/realdata/GW4567"}) {
        const std::vector<std::string> bodies = BodiesFor(path);
        ASSERT_EQ(bodies.size(), 2U) << path;
        EXPECT_EQ(bodies[0], bodies[1]) << path;
    }
    EXPECT_THAT(StartsInDatabase(),
                ElementsAre("Corvenna Start running", "Corvenna Start running"));
}

std::size_t Threads() {
    return ListFolder("/proc/self/task").size();
}

/// @return 0 when loading and letting go a thousand times leaves nothing behind.
int LoadAThousandTimes() {
    constexpr int kTimes = 1000;
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    for (int i = 0; i < kTimes; ++i) {
        void *const library = dlopen(CORVENNA_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            return 1;
        }
        int (*init)(void *) = nullptr;
        *reinterpret_cast<void **>(&init) = dlsym(library, "Init");
        Intervals intervals{};
        if (i % 100 == 0 && (init == nullptr || init(&intervals) != 0)) {
            return 2;
        }
        if (dlclose(library) != 0) {
            return 3;
        }
        if (i == 0) {
            threads = Threads();
            descriptors = ListFolder("/proc/self/fd").size();
        }
    }
    // A writer may have its file open just now.
    constexpr std::size_t kOfWriters = 4;
    if (Threads() != threads || ListFolder("/proc/self/fd").size() > descriptors + kOfWriters) {
        return 4;
    }
    return EverythingWorks(Plugin()) ? 0 : 5;
}

TEST_F(HostStart, OfALibraryLoadedAThousandTimesLeavesNothingBehind) {
    EXPECT_EQ(Run(LoadAThousandTimes), 0);
    EXPECT_EQ(StartsInDatabase().size(), 10U);
}

// ---- Standard input, output and error ----

int LiveWithoutStandardDescriptors() {
    const Plugin plugin;
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        close(standard);
    }
    Intervals intervals{};
    if (plugin.Init(&intervals) != 0 || !EverythingWorks(plugin)) {
        return 1;
    }
    const int next = dup(STDIN_FILENO);
    return next > STDERR_FILENO ? 0 : 2;
}

TEST_F(HostStart, WithoutStandardDescriptorsOpensNothingElseInTheirPlaces) {
    EXPECT_EQ(Run(LiveWithoutStandardDescriptors), 0);
}

// ---- The locale ----

int LiveWithAComma() {
    setenv("LOCPATH", "/tmp/locales", 1);
    if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr ||
        std::strtod("1,5", nullptr) != 1.5) {
        return 77;
    }
    const Plugin plugin;
    Intervals intervals{};
    return plugin.Init(&intervals) == 0 && EverythingWorks(plugin) ? 0 : 1;
}

TEST_F(HostStart, InALocaleWithADecimalCommaPutsItIntoValuesAlone) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the C library loses a few bytes when it looks for locales in LOCPATH";
#endif
    if (std::system("mkdir -p /tmp/locales && "
                    "localedef -i de_DE -f UTF-8 /tmp/locales/de_DE.UTF-8") != 0) {
        GTEST_SKIP() << "no locale can be made here";
    }
    const int result = Run(LiveWithAComma);
    if (result == 77) {
        GTEST_SKIP() << "the locale cannot be used here";
    }
    EXPECT_EQ(result, 0);
    const std::vector<std::string> sent = BodiesFor("/cloud/realdata/GW4567");
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_THAT(sent[0], HasSubstr(R"("value":"229,870")"));
    const std::vector<std::string> alarms = BodiesFor("/cloud/alarmdata/GW4567");
    ASSERT_EQ(alarms.size(), 1U);
    EXPECT_THAT(alarms[0], HasSubstr(R"("value":"0,000")"));
    EXPECT_THAT(BodiesFor("/cloud/gateway")[0], HasSubstr(R"("longitude":"9.1")"));
}

}  // namespace
}  // namespace corvenna::test
