// A host that does everything at once: sixteen threads with small stacks call every entry point,
// the download thread and both log writers work beside them, signals interrupt all of them, and the
// host forks meanwhile. Every call must end as it would alone, and every document must be whole.
//
//     concurrency [--seconds N] [--format json|xml] [--https]
//
// For the thread sanitizer and for helgrind, which look at the rest; see docs/reliability.md. Runs
// inside of tests/support/sandbox.

#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "log/log.h"
#include "plugin/plugin.h"
#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/proof/forked.h"
#include "tests/proof/hide_output.h"
#include "tests/proof/world.h"
#include "tests/support/files.h"
#include "tests/support/scripted_server.h"
#include "tests/support/xml_lock_wait.h"

namespace corvenna::test {
namespace {

constexpr int kThreads = 16;
constexpr std::size_t kStackBytes = std::size_t{256} * 1024;
constexpr std::time_t kSampleTime = 1709622489;
constexpr int kFilesAreWaitingEvery = 20;
// Those whom a fork waits for come to an end here; on a busy machine, not in a second.
constexpr std::time_t kForkWaitsLonger = 60;

struct Setting {
    int seconds = 60;
    std::string format = "json";
    bool https = false;
};

std::atomic<bool> gStop{false};
std::atomic<long> gCalls{0};
std::atomic<long> gWrong{0};
std::atomic<long> gSignals{0};
std::string gReference;

void Expect(bool holds, const char *what) {
    ++gCalls;
    if (!holds) {
        ++gWrong;
        std::fprintf(stderr, "wrong: %s\n", what);
    }
}

// The cloud, in a process of its own: its threads are not what is looked at.

struct CloudState {
    std::atomic<int> port;
    std::atomic<long> downloads;
};

[[noreturn]] void ServeFor(const Setting &setting, CloudState &state) {
    ScriptedServer server(setting.https ? Protocol::kHttps : Protocol::kHttp);
    server.KeepNoRequests();
    std::atomic<int> uploads{0};
    server.Otherwise([&](const Request &request) {
        if (request.path.find("/realdata/") != std::string::npos) {
            return Reply(++uploads % kFilesAreWaitingEvery == 0 ? 426 : 200);
        }
        if (request.method == "GET" && request.path.find("/downfile/") != std::string::npos) {
            ++state.downloads;
        }
        return CloudAnswer(request, setting.format);
    });
    WriteFile("/quorvane/ca.pem", server.Certificate());
    state.port = server.Port();
    for (;;) {
        pause();
    }
}

class Cloud {
public:
    explicit Cloud(const Setting &setting)
        : process_([&](CloudState &state) { ServeFor(setting, state); }) {
        while (process_->port == 0) {
            std::this_thread::yield();
        }
    }

    int Port() const { return process_->port; }
    long Downloads() const { return process_->downloads; }

private:
    Forked<CloudState> process_;
};

// What each thread of the host does.

/// Produces real data in a folder. @return the file, "" when it is not whole.
std::string Produce(std::string folder) {
    Real_Data_Struct values = Snapshot();
    std::vector<std::string> files;
    const bool made = CreateRealDataFile(&values, folder.data(), &files, kSampleTime) >= 0;
    const bool whole = made && files.size() == 1 && ContentOf(files[0]) == gReference;
    return whole ? files[0] : "";
}

void CallEverything(const std::string &folder) {
    const std::string file = Produce(folder);
    Expect(!file.empty(), "CreateRealDataFile");
    std::string path = file;
    Expect(UploadRealDataFile(path.data()) == 0, "UploadRealDataFile");
    std::string alarmFolder = folder;
    Alarm_Data_Struct alarms = Alarms();
    std::vector<std::string> files;
    Expect(CreateAlarmDataFile(&alarms, alarmFolder.data(), &files) >= 0 && files.size() == 1,
           "CreateAlarmDataFile");
    Expect(UploadAlarmDataFile(files[0].c_str()) == 0, "UploadAlarmDataFile");
    std::remove(files[0].c_str());
    std::vector<recall_time_para> ranges;
    Expect(CheckRecall(&ranges) == 0 && ranges.size() == kRecalls, "CheckRecall");
    recall_time_para range{1709622000, 1709625600};
    Expect(DeleteRecall(&range) == 0, "DeleteRecall");
    Expect(PrePost() == 0, "PrePost");
    Expect(SyncHeartBeat() == 0, "SyncHeartBeat");
    Expect(log_Text(kLogInfo, "round of %s", folder.c_str()) == 1, "log_Text");
    Expect(log_DB(kLogInfo, "round of %s", folder.c_str()) == 1, "log_DB");
}

void *HostThread(void *name) {
    const std::string folder = static_cast<const char *>(name);
    mkdir(folder.c_str(), 0755);
    while (!gStop) {
        CallEverything(folder);
    }
    return nullptr;
}

class HostThreads {
public:
    HostThreads() {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, kStackBytes);
        for (int i = 0; i < kThreads; ++i) {
            folders_.push_back("/tmp/host" + std::to_string(i));
        }
        for (std::string &folder : folders_) {
            pthread_t thread{};
            if (pthread_create(&thread, &attributes, HostThread, folder.data()) != 0) {
                std::perror("pthread_create");
                std::exit(2);
            }
            threads_.push_back(thread);
        }
        pthread_attr_destroy(&attributes);
    }
    HostThreads(const HostThreads &) = delete;
    HostThreads &operator=(const HostThreads &) = delete;
    ~HostThreads() {
        gStop = true;
        for (const pthread_t thread : threads_) {
            pthread_join(thread, nullptr);
        }
    }

private:
    std::vector<std::string> folders_;
    std::vector<pthread_t> threads_;
};

// Signals and children.

extern "C" void CountSignal(int) {
    ++gSignals;
}

/// A handler that lets calls end early, as a host's may.
void HandleSignals() {
    struct sigaction action {};
    action.sa_handler = CountSignal;
    sigaction(SIGUSR1, &action, nullptr);
}

/// One to each thread of the process: the host's, the writers', the download's.
void SendSignals() {
    for (const std::string &thread : ListFolder("/proc/self/task")) {
        const auto id = static_cast<pid_t>(std::strtol(thread.c_str(), nullptr, 10));
        if (id != gettid()) {
            syscall(SYS_tgkill, getpid(), id, SIGUSR1);
        }
    }
}

/// A child of the host that goes on using the library and then ends in order.
[[noreturn]] void BeAChild() {
    const bool logged = log_Text(kLogInfo, "child") == 1 && log_DB(kLogInfo, "child") == 1;
    mkdir("/tmp/child", 0755);
    std::exit(logged && !Produce("/tmp/child").empty() ? 0 : 1);
}

// The thread sanitizer's own locks stay in a child as busy threads held them, and whatever it does
// there may wait for ever: there, the fork is looked at, and its child comes to no end of its own.
#ifdef __SANITIZE_THREAD__
constexpr bool kChildIsLookedAt = false;
#else
constexpr bool kChildIsLookedAt = true;
#endif

/// Whether a child ends in time and with success. An installation under way waits for any child, so
/// its end may not be told here.
bool ChildEndsWell() {
    constexpr auto kPatience = std::chrono::seconds(120);
    const pid_t child = fork();
    if (child == 0) {
        BeAChild();
    }
    if (!kChildIsLookedAt) {
        kill(child, SIGKILL);
    }
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < end) {
        int status = 0;
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child) {
            return !kChildIsLookedAt || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
        }
        if (ended < 0 && errno == ECHILD) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    kill(child, SIGKILL);
    return false;
}

/// At least until there were a child and a download. @return how many children there were.
long DisturbFor(std::chrono::seconds time, const Cloud &cloud) {
    constexpr int kSignalsAChild = 20;
    const auto end = std::chrono::steady_clock::now() + time;
    long children = 0;
    for (int round = 1;
         std::chrono::steady_clock::now() < end || children == 0 || cloud.Downloads() == 0;
         ++round) {
        SendSignals();
        if (round % kSignalsAChild == 0) {
            Expect(ChildEndsWell(), "a child of the host");
            ++children;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return children;
}

bool Start(const Cloud &cloud, const Setting &setting) {
    GatewayOn(cloud.Port(), setting.format, false, setting.https).Write();
    WriteFile("/tmp/installed/.folder", "");
    mkdir("/tmp/first", 0755);
    Interval_info intervals;
    if (Init(&intervals) != 0) {
        return false;
    }
    char folder[] = "/tmp/first";
    std::vector<std::string> files;
    CreateRealDataFile(&Snapshot(), folder, &files, kSampleTime);
    gReference = files.empty() ? "" : ContentOf(files[0]);
    // What is made at its first use is made before there are threads: helgrind does not see that
    // the flag of such a construction orders what follows.
    return !gReference.empty() && !Alarms().empty() && PrePost() == 0;
}

int Run(const Setting &setting) {
    XmlLockWait::Prolong(kForkWaitsLonger);
    const Cloud cloud(setting);
    const int output = HideOutput();
    if (!Start(cloud, setting)) {
        std::fputs("the host does not start\n", stderr);
        return 2;
    }
    HandleSignals();
    long children = 0;
    {
        const HostThreads threads;
        children = DisturbFor(std::chrono::seconds(setting.seconds), cloud);
    }
    pthread_mutex_lock(&down_file_mutex);  // until a download has ended
    pthread_mutex_unlock(&down_file_mutex);
    dprintf(output,
            "%d threads for %d s in %s over %s: %ld calls, %ld wrong; %ld downloads, %ld signals, "
            "%ld children\n",
            kThreads, setting.seconds, setting.format.c_str(), setting.https ? "HTTPS" : "HTTP",
            gCalls.load(), gWrong.load(), cloud.Downloads(), gSignals.load(), children);
    return gWrong == 0 ? 0 : 1;
}

}  // namespace
}  // namespace corvenna::test

int main(int argc, char **argv) {
    CLI::App options("Everything at once.");
    corvenna::test::Setting setting;
    options.add_option("--seconds", setting.seconds)->check(CLI::PositiveNumber);
    options.add_option("--format", setting.format)->check(CLI::IsMember({"json", "xml"}));
    options.add_flag("--https", setting.https);
    CLI11_PARSE(options, argc, argv);
    return corvenna::test::Run(setting);
}
