// Hosts that may have no more processes or no more memory.

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "plugin/download.h"
#include "plugin/plugin.h"
#include "tests/plugin/gateway.h"
#include "tests/plugin/silent_log.h"
#include "tests/support/files.h"

namespace corvenna::test {
namespace {

constexpr char kContent[] = "content of a file";
constexpr char kInstalled[] = "/tmp/installed/file.bin";
constexpr int kNotHere = 77;

Answer CloudWith(const Request &request) {
    if (request.method == "DELETE") {
        return Reply(204);
    }
    if (request.method != "GET") {
        return Reply(200);
    }
    if (request.path == "/cloud/calldata/GW4567") {
        return Reply(200, R"({"node":[{"startdt":"1970-01-01 00:00:00","enddt":""}]})");
    }
    return request.path == "/cloud/downfile/GW4567"
               ? Reply(200, OfferList({{"file.bin", Md5Of(kContent), 9, "/tmp/installed"}}))
               : ReplyFile(kContent);
}

std::vector<recall_time_para> gRanges;

struct EntryPoint {
    int (*call)();
};

const EntryPoint kEntryPoints[] = {
    {PrePost},
    {[] {
        gRanges.clear();
        gRanges.shrink_to_fit();
        return CheckRecall(&gRanges);
    }},
    {[] {
        recall_time_para range{0, 3600};
        return DeleteRecall(&range);
    }},
    {[] {
        char path[] = "/tmp/S.json";
        return UploadRealDataFile(path);
    }},
    {[] { return UploadAlarmDataFile("/tmp/S.json"); }},
};

/// @return whether a download ran to its end and installed the file.
bool Download() {
    std::remove(kInstalled);
    if (pthread_mutex_trylock(&down_file_mutex) != 0) {
        return false;
    }
    DownFile(nullptr);
    if (pthread_mutex_trylock(&down_file_mutex) != 0) {
        return false;
    }
    pthread_mutex_unlock(&down_file_mutex);
    return access(kInstalled, R_OK) == 0;
}

bool EverythingWorks() {
    for (const EntryPoint &entry : kEntryPoints) {
        if (entry.call() != 0) {
            return false;
        }
    }
    return Download();
}

/// A host, in a process of its own, beside a cloud that is under no limit.
class Limited : public testing::TestWithParam<Protocol> {
protected:
    Limited() : server_(GetParam()) {
        server_.Otherwise(CloudWith);
        Configure(server_, {"json", GetParam(), false});
        WriteFile("/tmp/S.json", "content");
        mkdir("/tmp/installed", 0777);
        chmod("/tmp/installed", 0777);
        chmod("/media/mmcblk0p1", 0777);
    }

    /// @return the exit code of a host.
    static int Run(int (*host)()) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(300);  // for what hangs
            _exit(host());
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
        return WEXITSTATUS(status);
    }

    ScriptedServer server_;
};

// ---- Processes and threads ----

/// From a user's own number of processes on; who is root has none.
void BecomeAUser() {
    constexpr uid_t kNobody = 65534;
    static_cast<void>(setgroups(0, nullptr));
    static_cast<void>(setresgid(kNobody, kNobody, kNobody));
    static_cast<void>(setresuid(kNobody, kNobody, kNobody));  // an ordinary user stays who it is
}

bool AllowProcesses(rlim_t count) {
    rlimit limit{};
    return getrlimit(RLIMIT_NPROC, &limit) == 0 &&
           setrlimit(RLIMIT_NPROC, (limit.rlim_cur = count, &limit)) == 0;
}

bool CanFork() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    return child > 0 && waitpid(child, nullptr, 0) == child;
}

int LiveWithoutProcesses() {
    BecomeAUser();
    rlimit before{};
    getrlimit(RLIMIT_NPROC, &before);
    if (!AllowProcesses(0) || CanFork()) {
        return kNotHere;
    }
    for (const EntryPoint &entry : kEntryPoints) {
        if (entry.call() != 0) {
            return 1;  // a request needs neither
        }
    }
    if (Download()) {
        return 2;  // without md5sum no file is good
    }
    if (!AllowProcesses(before.rlim_cur)) {
        return 3;
    }
    return EverythingWorks() ? 0 : 4;
}

TEST_P(Limited, InItsProcessesSendsAllTheSameAndInstallsNothing) {
    const int result = Run(LiveWithoutProcesses);
    if (result == kNotHere) {
        GTEST_SKIP() << "a limit on processes has no effect here";
    }
    EXPECT_EQ(result, 0);
    std::size_t mismatches = 0;
    for (const Request &request : server_.Requests()) {
        mismatches += request.body == StatusBody(Md5Of(kContent), 0) ? 1 : 0;
    }
    EXPECT_EQ(mismatches, 1U) << "one file could not be examined";
}

// ---- Memory ----

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

constexpr std::size_t kStackBytes = std::size_t{256} * 1024;

/// The stack grows into memory that the limit counts.
void TouchStack() {
    char volatile bytes[kStackBytes];
    for (std::size_t at = 0; at < sizeof bytes; at += 1024) {
        bytes[at] = 0;
    }
}

bool AllowMemory(rlim_t bytes) {
    rlimit limit{};
    return getrlimit(RLIMIT_AS, &limit) == 0 &&
           setrlimit(RLIMIT_AS, (limit.rlim_cur = bytes, &limit)) == 0;
}

rlim_t AddressSpace() {
    const std::string status = ReadFile("/proc/self/statm");
    return std::strtoul(status.c_str(), nullptr, 10) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

bool CanMap(std::size_t bytes) {
    void *const memory =
        mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return memory != MAP_FAILED && munmap(memory, bytes) == 0;
}

/// Takes all memory that the heap has left, in blocks that only get smaller. Each holds the next.
void **TakeTheHeap() {
    void **last = nullptr;
    for (std::size_t bytes = std::size_t{1} << 16U; bytes >= sizeof(void *); bytes /= 2) {
        while (void *const block = std::malloc(bytes)) {
            *static_cast<void **>(block) = last;
            last = static_cast<void **>(block);
        }
    }
    return last;
}

void GiveBack(void **last) {
    while (last != nullptr) {
        void **const next = static_cast<void **>(*last);
        std::free(last);
        last = next;
    }
}

/// Every call ends as it may. @return 0 when that is so.
int CallWithin(rlim_t memory, bool takesTheHeap) {
    if (!AllowMemory(memory)) {
        return 1;
    }
    void **const taken = takesTheHeap ? TakeTheHeap() : nullptr;
    int wrong = 0;
    for (const EntryPoint &entry : kEntryPoints) {
        gComplaints = 0;
        const int result = entry.call();
        // What libcurl has no handle for fails without a message, except at the registration.
        const bool told = result == 0 || gComplaints > 0 || &entry != kEntryPoints;
        wrong = (result != 0 && result != -1) || !told ? 2 : wrong;
        wrong = takesTheHeap && result == 0 ? 3 : wrong;
    }
    GiveBack(taken);
    return AllowMemory(RLIM_INFINITY) ? wrong : 4;
}

int LiveWithoutMemory() {
    constexpr std::size_t kMuch = std::size_t{64} << 20U;
    constexpr rlim_t kStep = rlim_t{64} * 1024;
    constexpr int kSteps = 40;
    if (!EverythingWorks()) {
        return 5;
    }
    TouchStack();
    const rlim_t now = AddressSpace();
    if (!AllowMemory(now) || CanMap(kMuch) || !AllowMemory(RLIM_INFINITY)) {
        return kNotHere;
    }
    for (int step = 0; step <= kSteps; ++step) {
        const int wrong = CallWithin(now + static_cast<rlim_t>(step) * kStep, step == 0);
        if (wrong != 0) {
            return wrong;
        }
    }
    return EverythingWorks() ? 0 : 6;
}

TEST_P(Limited, InItsMemoryFailsOrWorks) {
    const int result = Run(LiveWithoutMemory);
    if (result == kNotHere) {
        GTEST_SKIP() << "a limit on memory has no effect here";
    }
    EXPECT_EQ(result, 0);
}

#endif

INSTANTIATE_TEST_SUITE_P(Over, Limited, testing::Values(Protocol::kHttp, Protocol::kHttps),
                         [](const auto &row) {
                             return row.param == Protocol::kHttp ? "Http" : "Https";
                         });

}  // namespace
}  // namespace corvenna::test
