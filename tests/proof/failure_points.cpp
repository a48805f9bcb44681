// Every call into the system and every allocation of every entry point fails once, alone or with
// all that follow. Whatever fails, the process goes on, the result is one that the entry point
// states, no document that is wrong or cut leaves the gateway, nothing is left behind or kept, and
// the next call works.
//
//     failure_points [--every N] [--every-https N] [--only TEXT] [--at N] [--verbose]
//
// A request over HTTPS makes thousands of calls, nearly all of them in the TLS library: of those
// only every tenth that would be tried is.
//
// Prints how many points were tried. Runs inside of tests/support/sandbox.

#include <curl/curl.h>
#include <execinfo.h>
#include <link.h>
#include <openssl/crypto.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "base/text.h"
#include "base/xml.h"
#include "config/channel_set.h"
#include "config/sn_set.h"
#include "config/sys_set.h"
#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "message/pack_memory.h"
#include "message/records.h"
#include "plugin/download.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/proof/failing_system.h"
#include "tests/proof/shared_memory.h"
#include "tests/proof/world.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/files.h"
#include "tests/support/scripted_server.h"

extern "C" {

// No pauses, and no log but where it is the log that is tried: its queue would count as kept.
int __wrap_usleep(useconds_t) {
    return 0;
}
unsigned __wrap_sleep(unsigned) {
    return 0;
}

CURLcode __real_curl_easy_setopt(CURL *handle, int option, ...);
}

namespace {

bool gSomethingFails = false;  // in the process that tries it

template <class Value>
CURLcode SetOption(CURL *handle, int option, Value value) {
    return __real_curl_easy_setopt(handle, option, value);
}

}  // namespace

extern "C" {

// A request that gets no answer because something failed waits for three seconds instead of ninety.
CURLcode __wrap_curl_easy_setopt(CURL *handle, int option, ...) {
    constexpr long kSeconds = 3;
    va_list argument;
    va_start(argument, option);
    CURLcode result = CURLE_OK;
    if (option == CURLOPT_TIMEOUT && gSomethingFails) {
        result = SetOption(handle, option, kSeconds);
    } else if (option >= CURLOPTTYPE_OFF_T) {
        result = SetOption<curl_off_t>(handle, option, va_arg(argument, curl_off_t));
    } else if (option >= CURLOPTTYPE_OBJECTPOINT) {
        result = SetOption<void *>(handle, option, va_arg(argument, void *));
    } else {
        result = SetOption<long>(handle, option, va_arg(argument, long));
    }
    va_end(argument);
    return result;
}

int __real_log_Text(int level, const char *format, ...);

int __wrap_log_init(int) {
    return 1;
}
int __wrap_log_Text(int, const char *, ...) {
    return 1;
}
int __wrap_log_DB(int, const char *, ...) {
    return 1;
}
}

namespace corvenna::test {
namespace {

constexpr char kFolder[] = "/tmp/data";
constexpr unsigned kMostSecondsOfATry = 300;

/// What the process under test tells; in memory that it shares with the one that watches.
struct Report {
    bool happened;
    bool finished;
    bool losesSession;  ///< libcurl found no memory to remember a TLS session
    bool losesDecoder;  ///< libxml2 found no memory for its second decoder
    char failedCall[32];
    char complaint[256];
};

Report *const gReport = SharedWithChildren<Report>();

/// Where a library lies in memory.
struct Mapped {
    const char *name;  ///< part of its file's
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;

    bool Holds(const void *address) const {
        const auto at = reinterpret_cast<std::uintptr_t>(address);
        return begin <= at && at < end;
    }
};

Mapped gLibcurl{"/libcurl.so"};
Mapped gLibssl{"/libssl.so"};
Mapped gLibxml{"/libxml2.so"};
Mapped gLibz{"/libz.so"};

int NoteWhereItLies(dl_phdr_info *library, std::size_t, void *) {
    for (Mapped *sought : {&gLibcurl, &gLibssl, &gLibxml, &gLibz}) {
        if (std::strstr(library->dlpi_name, sought->name) == nullptr) {
            continue;
        }
        sought->begin = library->dlpi_addr;
        for (int i = 0; i < library->dlpi_phnum; ++i) {
            const auto &segment = library->dlpi_phdr[i];
            const std::uintptr_t end = library->dlpi_addr + segment.p_vaddr + segment.p_memsz;
            sought->end = segment.p_type == PT_LOAD ? std::max(sought->end, end) : sought->end;
        }
    }
    return 0;
}

/// libcurl 7.88.1 frees the name of a server twice when it finds no memory for its copy of a TLS
/// session's settings (docs/behaviour/http.md). Of all that may fail it is known by the stack: the
/// TLS library calls libcurl directly for nothing but a new session. Asked at each of thousands of
/// failures, so by address. libxml2 2.9.14 keeps its decoder of one compression when it finds no
/// memory for that of the other, which zlib makes for it at the beginning of each file.
void NoteLibrariesLosses() {
    if (gReport->losesSession) {
        return;
    }
    constexpr int kFrames = 48;
    void *frames[kFrames];
    const int count = backtrace(frames, kFrames);
    for (int i = 0; i + 1 < count; ++i) {
        if (gLibcurl.Holds(frames[i]) && gLibssl.Holds(frames[i + 1])) {
            gReport->losesSession = true;
        }
        if (gLibz.Holds(frames[i]) && gLibxml.Holds(frames[i + 1])) {
            gReport->losesDecoder = true;
        }
    }
}

bool HasLibcurlThatLosesSessions() {
    constexpr unsigned kVersion = 0x075801;
    return curl_version_info(CURLVERSION_NOW)->version_num == kVersion;
}

/// An entry point with a setting in which it is tried.
struct Scenario {
    std::string name;
    /// The call. 0 or more: done, its result; -1: refused.
    std::function<int()> call;
    /// What is wrong after a call with that result; "" when nothing is.
    std::function<std::string(int result)> wrong;
    /// Puts things back before a call.
    std::function<void()> prepare = [] {};
    /// Whether a failure may end the process, as plain JSON that cannot be opened does.
    bool stops = false;
    bool keepsNothing = true;
    /// Requests that may be sent when something has failed, beside those of a good call.
    std::set<std::string> otherwiseSent{};
    /// Only every so many points of those that are tried.
    std::size_t every = 1;
    /// Whether a server answers it, in threads of this process.
    bool isServed = false;
};

// What reached the server: method, path and body of every whole request.
std::mutex gSeenMutex;
std::vector<std::string> gSeen;

std::string Line(const Request &request) {
    return request.method + ' ' + request.path + '\n' + request.body;
}

const ScriptedServer *gServer = nullptr;

std::vector<std::string> TakeSeen() {
    if (gServer != nullptr) {
        gServer->AwaitRest();
    }
    const std::lock_guard<std::mutex> lock(gSeenMutex);
    return std::exchange(gSeen, {});
}

void Keep(const Request &request) {
    if (request.complete) {
        const std::lock_guard<std::mutex> lock(gSeenMutex);
        gSeen.push_back(Line(request));
    }
}

// Data files.

std::vector<std::string> gFiles;
std::string gReferenceDocument;

void EmptyFolder() {
    gFiles.clear();
    for (const std::string &name : ListFolder(kFolder)) {
        std::remove((std::string(kFolder) + '/' + name).c_str());
    }
}

/// A call that is done lists one whole file; one that is not leaves none that it could remove.
std::string WrongFiles(int result) {
    const std::vector<std::string> present = ListFolder(kFolder);
    if (result < 0) {
        const bool gone = present.empty() || RemovalsFailed() > 0;
        return gone && gFiles.empty() ? "" : "refused, but a file is there or listed";
    }
    if (present.size() != 1 || gFiles.size() != 1 ||
        gFiles[0] != std::string(kFolder) + '/' + present[0]) {
        return "done, but not one file is there and listed";
    }
    const std::string document = ContentOf(gFiles[0]);
    if (gReferenceDocument.empty()) {
        gReferenceDocument = document;
    }
    return document == gReferenceDocument ? "" : "a wrong document is listed as good";
}

int CallCreateRealData() {
    char dir[] = "/tmp/data";
    return CreateRealDataFile(&Snapshot(), dir, &gFiles, 1709622489);
}

int CallCreateAlarmData() {
    char dir[] = "/tmp/data";
    return CreateAlarmDataFile(&Alarms(), dir, &gFiles);
}

// Requests.

std::string gUpload;
std::vector<recall_time_para> gRanges;

int CallUploadRealData() {
    return UploadRealDataFile(gUpload.data());
}
int CallUploadAlarmData() {
    return UploadAlarmDataFile(gUpload.c_str());
}
int CallCheckRecall() {
    gRanges.clear();
    return CheckRecall(&gRanges);
}
std::string WrongRecalls(int) {
    return gRanges.empty() || gRanges.size() == kRecalls ? "" : "part of a list of ranges";
}
int CallDeleteRecall() {
    recall_time_para range{1709622000, 1709625600};
    return DeleteRecall(&range);
}

void PrepareDownload() {
    // Whoever starts a download holds it; here, since the last time or from now on.
    static_cast<void>(pthread_mutex_trylock(&down_file_mutex));
    std::remove("/tmp/installed/file.bin");
}
int CallDownload() {
    DownFile(nullptr);
    return 0;
}
std::string WrongDownload(int) {
    if (pthread_mutex_trylock(&down_file_mutex) != 0) {
        return "the download mutex is held";
    }
    pthread_mutex_unlock(&down_file_mutex);
    const std::string installed = ContentOf("/tmp/installed/file.bin");
    return installed.empty() || installed == kOffered ? "" : "a wrong file is installed";
}

// Configuration and log.

Interval_info gIntervals;
std::string gReferenceConfiguration;

std::string LoadedConfiguration() {
    std::ostringstream text;
    const ST_CLOUDSERVER_CONFIG_ATTR &cloud = *GetCSysSetInstance()->GetCloudConfigAttr();
    text << cloud.cloudip << cloud.port << cloud.Dir << cloud.filetype
         << GetCSysSetInstance()->GetGateWayAttr()->gateWayName
         << GetCSysSetInstance()->GetGateWayAttr()->version << GetCsnSetInstance()->GetSn();
    MAP_DEV_ATTR *devices = nullptr;
    MAP_POINTID_ATTR *points = nullptr;
    GetCChannelSetInstance()->GetAttr(&devices);
    GetCChannelSetInstance()->GetAttr(&points);
    for (const auto &[number, device] : *devices) {
        text << number << device.DeviceName << device.Desc;
    }
    for (const auto &[id, point] : *points) {
        text << id << point.Name << point.EUUnits;
    }
    return text.str();
}

int CallInit() {
    return Init(&gIntervals);
}
std::string WrongConfiguration(int result) {
    if (result != 0) {
        return "";
    }
    if (gReferenceConfiguration.empty()) {
        gReferenceConfiguration = LoadedConfiguration();
    }
    return LoadedConfiguration() == gReferenceConfiguration ? ""
                                                            : "Init took part of a file for all";
}

int CallLog() {
    for (int i = 0; i < 3; ++i) {
        if (__real_log_Text(kLogInfo, "message %d", i) != 1) {
            return -1;
        }
    }
    return 0;
}

int CallTextBatch() {
    static CLogTxt sink;
    std::list<ST_TXT_LOG_NODE> entries;
    try {
        entries.resize(3);
    } catch (const std::bad_alloc &) {
        return -1;
    }
    return sink.WriteLog(&entries);
}

int CallDatabaseBatch() {
    // Each its own: one whose database cannot be opened stays locked, as it is stated.
    CLogDatabase *const sink = new (std::nothrow) CLogDatabase;
    static std::list<ST_LOG_NODE> entries;
    if (sink == nullptr) {
        return -1;
    }
    try {
        entries.resize(3);
    } catch (const std::bad_alloc &) {
        return -1;
    }
    sink->Init();
    return sink->WriteLog(&entries);
}

/// OpenSSL keeps a thread's last errors, and libxml2 what it made when it was initialised, unless
/// memory was too short for that.
std::ptrdiff_t BlocksKept() {
    OPENSSL_thread_stop();
    { const XmlGuard initialised; }
    return LiveBlocks();
}

/// Keeps the first that is complained of.
void Complain(const char *when, const std::string &what) {
    if (!what.empty() && gReport->complaint[0] == '\0') {
        std::snprintf(gReport->complaint, sizeof gReport->complaint, "%s: %s", when, what.c_str());
    }
}

/// @return the call's result, 0 when an exception came out.
int CallOrComplain(const Scenario &scenario, const char *when) {
    try {
        return scenario.call();
    } catch (...) {
        Complain(when, "an exception came out");
        return 0;
    }
}

/// As long as it lives, something fails, and requests are impatient.
class Failure {
public:
    Failure(std::size_t number, Failing failing) : allocations_(number, failing) {
        gSomethingFails = true;
    }
    ~Failure() { gSomethingFails = false; }
    Failure(const Failure &) = delete;
    Failure &operator=(const Failure &) = delete;

    bool Happened() const { return allocations_.Happened(); }

private:
    const FailingAllocations allocations_;
};

/// By how many blocks memory grows when the call fails again. What grows with the second failure
/// too is kept; what grows with the first alone is a cache.
std::ptrdiff_t GrowthByAnotherFailure(const Scenario &scenario, std::size_t number,
                                      Failing failing) {
    scenario.prepare();
    const std::ptrdiff_t before = BlocksKept();
    {
        const Failure failure(number, failing);
        CallOrComplain(scenario, "failing again");
    }
    scenario.prepare();  // what the call handed over is no longer held
    return BlocksKept() - before;
}

/// In a process of its own: the call with one point failing, then, all being well, again.
void Try(const Scenario &scenario, std::size_t number, Failing failing) {
    alarm(kMostSecondsOfATry);
    scenario.prepare();
    int result = 0;
    {
        const Failure failure(number, failing);
        result = CallOrComplain(scenario, "failing");
        gReport->happened = failure.Happened();
        CopyText<sizeof gReport->failedCall>(gReport->failedCall, LastFailedCall());
    }
    Complain("failing", scenario.wrong(result));
    const std::ptrdiff_t grown = GrowthByAnotherFailure(scenario, number, failing);
    constexpr std::ptrdiff_t kDecoder = 2;
    const std::ptrdiff_t lost = gReport->losesDecoder ? kDecoder : 0;
    if (scenario.keepsNothing && grown > lost) {
        Complain("failing again", std::to_string(grown) + " blocks are kept");
    }
    scenario.prepare();
    const int next = scenario.call();
    Complain("next", next < 0 ? "the call does not work" : scenario.wrong(next));
    gReport->finished = true;
}

/// Every other thread of this process (a server is one) and how often it went to sleep; nothing
/// when one is awake.
std::map<std::string, std::string> Sleepers() {
    std::map<std::string, std::string> sleepers;
    const std::string own = std::to_string(gettid());
    for (const std::string &thread : ListFolder("/proc/self/task")) {
        const std::string status = ContentOf("/proc/self/task/" + thread + "/status");
        if (thread != own && !status.empty()) {
            if (status.find("\nState:\tS") == std::string::npos) {
                return {};
            }
            sleepers[thread] = status.substr(status.find("\nvoluntary_ctxt_switches:"));
        }
    }
    return sleepers;
}

/// A copy of this process, made while the server does nothing: what its threads have locked, in
/// OpenSSL for instance, stays locked in the copy for good. Threads are looked at one after
/// another, and one can wake the next meanwhile: all slept when none has woken between two looks.
pid_t ForkAtRest() {
    for (auto before = Sleepers(), now = Sleepers(); now.empty() || now != before;
         before = std::exchange(now, Sleepers())) {
        sched_yield();
    }
    return fork();
}

class Sweep {
public:
    Sweep(std::size_t every, std::size_t at, bool verbose)
        : every_(every), at_(at), verbose_(verbose) {}

    void Run(const Scenario &scenario) {
        // Once as it should be: what later calls are compared with, and what is made only once.
        TakeSeen();
        scenario.prepare();
        const int result = scenario.call();
        const std::string wrong = scenario.wrong(result);
        if (result < 0 || !wrong.empty()) {
            std::printf("%s: does not work at all (%d) %s\n", scenario.name.c_str(), result,
                        wrong.c_str());
            ++wrongs_;
            return;
        }
        const std::vector<std::string> seen = TakeSeen();
        reference_ = {seen.begin(), seen.end()};
        const std::size_t before = tried_;
        for (const Failing failing : {Failing::kOne, Failing::kFromThereOn}) {
            TryPoints(scenario, failing);
        }
        std::printf("%-44s %6zu points\n", scenario.name.c_str(), tried_ - before);
        std::fflush(stdout);
    }

    int Finish() const {
        if (knownEnds_ > 0) {
            std::printf("%zu ended in libcurl's double free of a lost session\n", knownEnds_);
        }
        std::printf("%zu points tried, %zu wrong\n", tried_, wrongs_);
        return wrongs_ == 0 ? 0 : 1;
    }

private:
    void TryPoints(const Scenario &scenario, Failing failing) {
        if (at_ != 0) {
            tried_ += TryPoint(scenario, at_, failing) ? 1U : 0U;
            return;
        }
        for (std::size_t number = 1 + tried_ % every_; TryPoint(scenario, number, failing);
             number += every_ * scenario.every) {
            ++tried_;
        }
    }

    /// @return whether there was such a point.
    bool TryPoint(const Scenario &scenario, std::size_t number, Failing failing) {
        *gReport = {};
        std::fflush(stdout);
        const pid_t child = scenario.isServed ? ForkAtRest() : fork();
        if (child == 0) {
            Try(scenario, number, failing);
            _exit(0);
        }
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child) {
            std::perror("fork");
            std::exit(2);
        }
        Judge(scenario, number, failing, status);
        return gReport->happened || !gReport->finished;
    }

    void Judge(const Scenario &scenario, std::size_t number, Failing failing, int status) {
        std::string complaint = gReport->complaint;
        if (!gReport->finished && IsLibcurls(status)) {
            ++knownEnds_;
        } else if (!gReport->finished && !IsStated(scenario)) {
            complaint = WIFSIGNALED(status) ? std::string("ended by ") + strsignal(WTERMSIG(status))
                                            : "ended with " + std::to_string(WEXITSTATUS(status));
        }
        for (const std::string &request : TakeSeen()) {
            if (reference_.count(request) == 0 && scenario.otherwiseSent.count(request) == 0) {
                complaint = "a wrong request was sent: " + request;
            }
        }
        if (!complaint.empty()) {
            ++wrongs_;
        }
        if (!complaint.empty() || verbose_) {
            std::printf("%s, %s %zu (%s): %s\n", scenario.name.c_str(),
                        failing == Failing::kOne ? "point" : "from point", number,
                        gReport->failedCall, complaint.c_str());
        }
    }

    /// Whether the process ended in what libcurl damages itself. Where the damage shows differs.
    bool IsLibcurls(int status) const {
        const int by = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        return gReport->losesSession && HasLibcurlThatLosesSessions() &&
               (by == SIGABRT || by == SIGSEGV || by == SIGALRM);
    }

    /// The process ended before it could tell which call it was; a scenario with stated stops may.
    static bool IsStated(const Scenario &scenario) { return scenario.stops; }

    std::size_t every_;
    std::size_t at_;  ///< 0: not one, but all of those
    bool verbose_;
    std::set<std::string> reference_;
    std::size_t tried_ = 0;
    std::size_t wrongs_ = 0;
    std::size_t knownEnds_ = 0;
};

std::string Right(int /*result*/) {
    return "";
}

std::vector<Scenario> DataFiles(const std::string &suffix, bool stops) {
    return {{"CreateRealDataFile" + suffix, CallCreateRealData, WrongFiles, EmptyFolder, stops},
            {"CreateAlarmDataFile" + suffix, CallCreateAlarmData, WrongFiles, EmptyFolder, stops}};
}

std::vector<Scenario> Requests(const std::string &suffix, const std::string &damaged) {
    return {{"PrePost" + suffix, PrePost, Right},
            {"UploadRealDataFile" + suffix, CallUploadRealData, Right},
            {"UploadAlarmDataFile" + suffix, CallUploadAlarmData, Right},
            {"CheckRecall" + suffix, CallCheckRecall, WrongRecalls},
            {"DeleteRecall" + suffix, CallDeleteRecall, Right},
            {"DownFile" + suffix,
             CallDownload,
             WrongDownload,
             PrepareDownload,
             false,
             true,
             {damaged}}};
}

/// What is sent when a download or its digest failed.
std::string DamagedReport(const Wire &wire) {
    char body[20480];
    const int length = GetCPackMemoryInstance()->CreatePutDownStatusMemory(
        wire.format.c_str(), body, sizeof body, Md5Of(kOffered).c_str(), 0);
    return "PUT /cloud/downfile/GW4567\n" + std::string(body, static_cast<std::size_t>(length));
}

class Proof {
public:
    Proof(const Sweep &sweep, std::string only, std::size_t everyHttps)
        : sweep_(sweep), only_(std::move(only)), everyHttps_(everyHttps) {}

    int Run() {
        WriteFile(std::string(kFolder) + "/.keep", "");
        WriteFile("/tmp/installed/.keep", "");
        std::remove((std::string(kFolder) + "/.keep").c_str());
        GatewayOn(1).Write();
        Run({{"Init", CallInit, WrongConfiguration}});
        for (const Protocol protocol : {Protocol::kHttp, Protocol::kHttps}) {
            for (const char *format : {"json", "xml"}) {
                for (const bool compressed : {false, true}) {
                    RunWire({format, protocol, compressed});
                }
            }
        }
        RunLog();
        return sweep_.Finish();
    }

private:
    void Run(const std::vector<Scenario> &scenarios) {
        for (const Scenario &scenario : scenarios) {
            if (scenario.name.find(only_) != std::string::npos) {
                gReferenceDocument.clear();
                sweep_.Run(scenario);
            }
        }
    }

    void RunWire(const Wire &wire) {
        ScriptedServer server(wire.protocol);
        server.KeepNoRequests();
        server.Otherwise([&wire](const Request &request) {
            Keep(request);
            return CloudAnswer(request, wire.format);
        });
        gServer = &server;
        Configure(server, wire);
        gUpload = std::string("/tmp/S1.") + wire.format + (wire.compressed ? ".z" : "");
        WriteFile(gUpload, "a data file");
        if (wire.protocol == Protocol::kHttp) {
            const bool stops = wire.format == "json" && !wire.compressed;
            Run(DataFiles(' ' + NameOf(wire), stops));
        }
        std::vector<Scenario> requests = Requests(' ' + NameOf(wire), DamagedReport(wire));
        for (Scenario &request : requests) {
            request.isServed = true;
            request.every = wire.protocol == Protocol::kHttp ? 1 : everyHttps_;
        }
        Run(requests);
        gServer = nullptr;
    }

    void RunLog() {
        Scenario message{"log_Text", CallLog, Right};
        message.keepsNothing = false;  // its writer may or may not have been there meanwhile
        Scenario database{"CLogDatabase::WriteLog", CallDatabaseBatch, Right};
        database.keepsNothing = false;  // a sink for each call
        Run({message, {"CLogTxt::WriteLog", CallTextBatch, Right}, database});
    }

    Sweep sweep_;
    std::string only_;
    std::size_t everyHttps_;
};

}  // namespace
}  // namespace corvenna::test

int main(int argc, char **argv) {
    CLI::App options("Lets every call fail once.");
    std::size_t every = 1;
    std::size_t everyHttps = 10;
    std::size_t at = 0;
    std::string only;
    bool verbose = false;
    options.add_option("--every", every, "only every Nth point")->check(CLI::PositiveNumber);
    options.add_option("--every-https", everyHttps, "over HTTPS only every Nth of these")
        ->check(CLI::PositiveNumber);
    options.add_option("--at", at, "only the point of this number");
    options.add_option("--only", only, "only scenarios with this in their name");
    options.add_flag("--verbose", verbose, "a line for every point");
    CLI11_PARSE(options, argc, argv);
    void *frame = nullptr;
    backtrace(&frame, 1);  // loads what it needs
    dl_iterate_phdr(corvenna::test::NoteWhereItLies, nullptr);
    corvenna::test::WhenACallFails(corvenna::test::NoteLibrariesLosses);
    return corvenna::test::Proof(corvenna::test::Sweep(every, at, verbose), only, everyHttps).Run();
}
