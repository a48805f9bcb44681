// Hosts in surroundings of their own: small stacks, blocked signals, limits, descriptors that come
// and go. Each stays alive, and every call ends as its contract says.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/host.h"
#include "tests/plugin/life.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

using testing::IsEmpty;

constexpr char kFolder[] = "/quorvane/data";
constexpr char kInstalled[] = "/tmp/installed/file.bin";
constexpr char kContent[] = "content of a file";
constexpr int kNotHere = 77;

/// A cloud that is well, and has a file after each upload.
Answer Cloud(const Request &request, const std::string &format) {
    if (request.path == "/cloud/realdata/GW4567") {
        return Reply(426);
    }
    if (request.method != "GET") {
        return Reply(request.method == "DELETE" ? 204 : 200);
    }
    if (request.path == "/cloud/calldata/GW4567") {
        return Reply(200, format == "json"
                              ? R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":""}]})"
                              : R"(<data><node startdt="1970-01-01 00:00:00" enddt=""/></data>)");
    }
    return request.path == "/cloud/downfile/GW4567"
               ? Reply(200, OfferList({{"file.bin", Md5Of(kContent), 9, "/tmp/installed"}}, format))
               : ReplyFile(kContent);
}

std::string Produce(const Plugin &plugin) {
    std::map<unsigned int, double> values = {{0x02010001, 229.87}, {0x02010100, 1.0}};
    std::vector<std::string> files;
    std::string folder = kFolder;
    const int result = plugin.CreateRealDataFile(&values, folder.data(), &files, 1709622489);
    return result >= 0 && files.size() == 1 ? files[0] : "";
}

std::string ProduceAlarms(const Plugin &plugin) {
    std::vector<Alarm> alarms = {{1709622489, 0x02010001, 250.0, 253.1, 1, -1}};
    std::vector<std::string> files;
    std::string folder = kFolder;
    const int result = plugin.CreateAlarmDataFile(&alarms, folder.data(), &files);
    return result >= 0 && files.size() == 1 ? files[0] : "";
}

bool ExchangesWork(const Plugin &plugin, std::string file, const std::string &alarms) {
    std::vector<Range> ranges;
    Range range{0, 3600};
    return plugin.PrePost() == 0 && plugin.UploadRealDataFile(file.data()) == 0 &&
           plugin.UploadAlarmDataFile(alarms.c_str()) == 0 && plugin.CheckRecall(&ranges) == 0 &&
           ranges.size() == 1 && plugin.DeleteRecall(&range) == 0;
}

/// Whether every call works, and the file that the cloud has is installed.
bool EverythingWorks(const Plugin &plugin) {
    unlink(kInstalled);
    const std::string file = Produce(plugin);
    const std::string alarms = ProduceAlarms(plugin);
    if (file.empty() || alarms.empty() || !ExchangesWork(plugin, file, alarms)) {
        return false;
    }
    plugin.AwaitDownload();
    return access(kInstalled, F_OK) == 0;
}

bool Starts(const Plugin &plugin) {
    Intervals intervals{};
    return plugin.Init(&intervals) == 0;
}

class HostSurroundings : public testing::TestWithParam<Wire> {
protected:
    /// @return how a host with a cloud ends: its exit code, less than 0 for a signal's number.
    static int Run(int (*host)()) {
        Life life(host);
        mkdir(kFolder, 0755);
        mkdir("/tmp/installed", 0755);
        const Wire wire = GetParam();
        ScriptedServer server(wire.protocol);
        server.Otherwise([&](const Request &request) { return Cloud(request, wire.format); });
        GatewayOn(server.Port(), wire.format, wire.compressed, wire.protocol != Protocol::kHttp)
            .Write();
        const int status = life.Run();
        return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
    }
};

// ---- Stacks ----

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // theirs take more

constexpr std::size_t kStackBytes = std::size_t{64} * 1024;

void *LiveOnASmallStack(void *self) {
    const Plugin &plugin = *static_cast<const Plugin *>(self);
    plugin.log_Text(3, "%s %.3f", std::string(3000, 'x').c_str(), 1e300);
    return Starts(plugin) && EverythingWorks(plugin) ? self : nullptr;
}

int LiveWithSmallStacks() {
    const Plugin plugin;
    pthread_attr_t attributes;
    pthread_t thread{};
    void *worked = nullptr;
    if (pthread_attr_init(&attributes) != 0 ||
        pthread_attr_setstacksize(&attributes, kStackBytes) != 0 ||
        pthread_create(&thread, &attributes, LiveOnASmallStack, const_cast<Plugin *>(&plugin)) !=
            0 ||
        pthread_join(thread, &worked) != 0) {
        return 1;
    }
    return worked != nullptr ? 0 : 2;
}

TEST_P(HostSurroundings, StacksOf64KibibytesAreEnoughForEveryCall) {
    EXPECT_EQ(Run(LiveWithSmallStacks), 0);
}

#endif

// ---- Signals ----

int LiveWithEverySignalBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    const Plugin plugin;
    return Starts(plugin) && EverythingWorks(plugin) ? 0 : 1;
}

TEST_P(HostSurroundings, EverySignalMayBeBlocked) {
    EXPECT_EQ(Run(LiveWithEverySignalBlocked), 0);
}

int LiveWithoutChildrensEnds() {
    std::signal(SIGCHLD, SIG_IGN);
    const Plugin plugin;
    return Starts(plugin) && EverythingWorks(plugin) ? 0 : 1;
}

TEST_P(HostSurroundings, TheEndsOfChildrenMayBeIgnored) {
    EXPECT_EQ(Run(LiveWithoutChildrensEnds), 0);
}

int LiveWithoutRemainsOfChildren() {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    action.sa_flags = SA_NOCLDWAIT;
    sigaction(SIGCHLD, &action, nullptr);
    const Plugin plugin;
    return Starts(plugin) && EverythingWorks(plugin) ? 0 : 1;
}

TEST_P(HostSurroundings, ChildrenMayLeaveNothingToWaitFor) {
    EXPECT_EQ(Run(LiveWithoutRemainsOfChildren), 0);
}

/// Output that goes nowhere: the reader is gone, and nothing is kept back.
bool LoseOutput() {
    int ends[2] = {-1, -1};
    return pipe(ends) == 0 && close(ends[0]) == 0 && dup2(ends[1], STDOUT_FILENO) >= 0 &&
           close(ends[1]) == 0 && std::setvbuf(stdout, nullptr, _IONBF, 0) == 0;
}

int LiveWithoutAReader() {
    std::signal(SIGPIPE, SIG_DFL);
    const Plugin plugin;
    return LoseOutput() && Starts(plugin) && EverythingWorks(plugin) ? 0 : 1;
}

TEST_P(HostSurroundings, NobodyNeedsToReadTheOutput) {
    EXPECT_EQ(Run(LiveWithoutAReader), 0);
}

// ---- Limits ----

int LiveWithoutRoomInFiles() {
    std::signal(SIGXFSZ, SIG_DFL);
    const Plugin plugin;
    rlimit before{};
    if (!Starts(plugin) || getrlimit(RLIMIT_FSIZE, &before) != 0) {
        return 1;
    }
    const std::string file = Produce(plugin);
    const std::string alarms = ProduceAlarms(plugin);
    const rlimit none{0, before.rlim_max};
    if (file.empty() || alarms.empty() || setrlimit(RLIMIT_FSIZE, &none) != 0) {
        return 2;
    }
    if (!ExchangesWork(plugin, file, alarms)) {
        return 3;
    }
    plugin.AwaitDownload();
    if (unlink(file.c_str()) != 0 || unlink(alarms.c_str()) != 0) {
        return 4;
    }
    return Produce(plugin).empty() && ProduceAlarms(plugin).empty() ? 0 : 5;
}

TEST_P(HostSurroundings, AtTheLimitOfFilesNoneIsProducedAndNoneIsLeft) {
    EXPECT_EQ(Run(LiveWithoutRoomInFiles), 0);
    EXPECT_THAT(ListFolder(kFolder), IsEmpty());
    EXPECT_THAT(ListFolder("/tmp/installed"), IsEmpty());
    EXPECT_THAT(ListFolder("/media/mmcblk0p1"), IsEmpty());
}

/// Takes every descriptor below a number that a set of select() has no room for.
bool TakeDescriptors() {
    constexpr int kMany = 1100;
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return false;
    }
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_max <= 2 * kMany) {
        return false;
    }
    int last = 0;
    while (last >= 0 && last < kMany) {
        last = open("/dev/null", O_RDONLY | O_CLOEXEC);
    }
    return last == kMany;
}

int LiveWithManyDescriptors() {
    const Plugin plugin;
    if (!TakeDescriptors()) {
        return kNotHere;
    }
    return Starts(plugin) && EverythingWorks(plugin) ? 0 : 1;
}

TEST_P(HostSurroundings, MoreThanAThousandDescriptorsMayBeOpen) {
    const int result = Run(LiveWithManyDescriptors);
    if (result == kNotHere) {
        GTEST_SKIP() << "so many descriptors are not allowed here";
    }
    EXPECT_EQ(result, 0);
}

// ---- Between calls ----

/// Whether one is there and no log's: a writer may be in the midst of its round.
bool MayBeClosed(int descriptor) {
    constexpr char kLogs[] = "/tmp/CloudLog";
    char target[sizeof kLogs] = "";
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    return readlink(link.c_str(), target, sizeof target - 1) > 0 && std::strcmp(target, kLogs) != 0;
}

int CloseEverythingBetweenCalls() {
    const Plugin plugin;
    if (!Starts(plugin)) {
        return 1;
    }
    constexpr int kTimes = 3;
    constexpr int kFirstOfOurs = 3;
    constexpr int kLast = 100;
    for (int i = 0; i < kTimes; ++i) {
        if (!EverythingWorks(plugin)) {
            return 2;
        }
        for (int descriptor = kFirstOfOurs; descriptor <= kLast; ++descriptor) {
            if (MayBeClosed(descriptor)) {
                close(descriptor);
            }
        }
    }
    return 0;
}

TEST_P(HostSurroundings, DescriptorsThatAreNotItsOwnMayBeClosedBetweenCalls) {
    EXPECT_EQ(Run(CloseEverythingBetweenCalls), 0);
}

int LiveInAFolderThatIsGone() {
    const Plugin plugin;
    if (!Starts(plugin) || mkdir("/tmp/gone", 0755) != 0 || chdir("/tmp/gone") != 0 ||
        rmdir("/tmp/gone") != 0) {
        return 1;
    }
    return EverythingWorks(plugin) ? 0 : 2;
}

TEST_P(HostSurroundings, TheWorkingFolderMayBeGone) {
    EXPECT_EQ(Run(LiveInAFolderThatIsGone), 0);
}

INSTANTIATE_TEST_SUITE_P(Over, HostSurroundings,
                         testing::Values(Wire{}, Wire{"xml", Protocol::kHttps}),
                         [](const auto &wire) { return NameOf(wire.param); });

}  // namespace
}  // namespace corvenna::test
