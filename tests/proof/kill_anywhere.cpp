// A gateway's power goes at any moment: the process is killed at every single call into the system
// that a job makes, and a working host at a thousand random moments. Afterwards the job works by
// itself, the database is whole, no download is installed in part, and every data file that was
// reported as produced is whole.
//
//     kill_anywhere [--every N] [--random N]
//
// Runs inside of tests/support/sandbox.

#include <sqlite3.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <list>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "base/text.h"
#include "config/channel_set.h"
#include "log/log.h"
#include "log/log_database.h"
#include "log/log_txt.h"
#include "plugin/download.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"
#include "tests/plugin/configuration.h"
#include "tests/plugin/gateway.h"
#include "tests/proof/shared_memory.h"
#include "tests/proof/world.h"
#include "tests/support/files.h"
#include "tests/support/scripted_server.h"

extern "C" int __wrap_usleep(useconds_t) {
    return 0;
}

namespace corvenna::test {
namespace {

constexpr char kFolder[] = "/tmp/data";
constexpr char kInstalled[] = "/tmp/installed/file.bin";
constexpr char kDatabase[] = "/tmp/CloudLog/Cloudlog.db";
constexpr int kBatch = 3;

/// What a killed process had reported before; in memory that it shares.
struct Reported {
    char files[2][256];
    std::atomic<int> last;  ///< which of them is whole and the last, from 1 on; 0: none
    const char *File() const { return last == 0 ? "" : files[last - 1]; }
};

Reported *Shared() {
    static Reported *const reported = SharedWithChildren<Reported>();
    return reported;
}

/// What is killed, and what must hold whenever it was.
struct Job {
    std::string name;
    std::function<void()> prepare;
    /// @return whether the job was done.
    std::function<bool()> run;
    /// What is wrong; "" when nothing is.
    std::function<std::string()> wrong;
};

// Jobs.

void RemoveAll(const char *folder) {
    for (const std::string &name : ListFolder(folder)) {
        std::remove((std::string(folder) + '/' + name).c_str());
    }
}

bool Download() {
    static_cast<void>(pthread_mutex_trylock(&down_file_mutex));
    DownFile(nullptr);
    return ContentOf(kInstalled) == kOffered;
}

std::string WrongInstallation() {
    const std::string installed = ContentOf(kInstalled);
    return installed.empty() || installed == kOffered ? "" : "part of a download is installed";
}

bool Produce(std::time_t sampleTime) {
    char dir[] = "/tmp/data";
    std::vector<std::string> files;
    const int result = CreateRealDataFile(&Snapshot(), dir, &files, sampleTime);
    if (result < 0 || files.size() != 1) {
        return false;
    }
    Reported &reported = *Shared();
    const int next = reported.last % 2;
    CopyText<sizeof reported.files[0]>(reported.files[next], files[0].c_str());
    reported.last = next + 1;
    return true;
}

bool ProduceOnce() {
    constexpr std::time_t kSampleTime = 1709622489;
    return Produce(kSampleTime);
}

std::string gWholeDocument;

std::string WrongDocument() {
    if (Shared()->last == 0) {
        return "";
    }
    constexpr std::size_t kBehindTheTime = sizeof R"({"logdt":"2024-03-05 07:08:09")";
    const std::string document = ContentOf(Shared()->File());
    const bool whole = document.size() == gWholeDocument.size() &&
                       (document == gWholeDocument ||
                        document.substr(kBehindTheTime) == gWholeDocument.substr(kBehindTheTime));
    return whole ? "" : "a reported file is not whole";
}

bool WriteTextBatch() {
    CLogTxt sink;
    std::list<ST_TXT_LOG_NODE> entries(kBatch);
    for (ST_TXT_LOG_NODE &entry : entries) {
        std::strcpy(entry.text, "a message");
    }
    return sink.WriteLog(&entries) == 0;
}

std::string WrongTextLog() {
    const std::string line = "  logType:\n a message\n";
    for (const std::string &name : ListFolder("/tmp/CloudLog")) {
        const std::string text = ContentOf("/tmp/CloudLog/" + name);
        for (std::size_t at = 0; name.find("_log.txt") != std::string::npos && at < text.size();
             at += line.size()) {
            if (text.compare(at, line.size(), line) != 0) {
                return "an entry is not whole";
            }
        }
    }
    return "";
}

bool WriteDatabaseBatch() {
    auto *const sink = new CLogDatabase;  // never destroyed, as in a host
    sink->Init();
    std::list<ST_LOG_NODE> entries(kBatch);
    return sink->WriteLog(&entries) == 0;
}

int KeepText(void *text, int, char **values, char **) {
    *static_cast<std::string *>(text) = values[0];
    return 0;
}

std::string Ask(const char *question) {
    sqlite3 *database = nullptr;
    std::string answer = "none";
    sqlite3_open(kDatabase, &database);
    sqlite3_exec(database, question, KeepText, &answer, nullptr);
    sqlite3_close(database);
    return answer;
}

std::string WrongDatabase() {
    if (access(kDatabase, F_OK) != 0) {
        return "";
    }
    if (Ask("PRAGMA integrity_check") != "ok") {
        return "the database is damaged";
    }
    const std::string rows = Ask("SELECT COUNT(*) FROM log_tbl");
    return rows == "none" || std::stoi(rows) % kBatch == 0 ? "" : "part of a batch is stored";
}

// Killing.

void StartTraced(const Job &job) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    job.run();
    _exit(0);
}

/// Kills a child, and waits for what it had started: a command of an installation goes on by itself
/// and, on a busy machine, could meet the next one.
void Kill(pid_t child) {
    kill(child, SIGKILL);
    while (waitpid(-1, nullptr, 0) > 0) {
    }
}

/// Runs the job and kills it at one of its calls into the system.
/// @return false when it makes fewer.
bool KillAt(const Job &job, long number) {
    const pid_t child = fork();
    if (child == 0) {
        StartTraced(job);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    constexpr int kCallStop = SIGTRAP | 0x80;
    for (long stops = 0;;) {
        const bool isCall = WIFSTOPPED(status) && WSTOPSIG(status) == kCallStop;
        stops += isCall ? 1 : 0;  // one when a call begins, one when it ends
        if (stops == number) {
            Kill(child);
            return true;
        }
        const bool isOther = WIFSTOPPED(status) && !isCall && WSTOPSIG(status) != SIGSTOP;
        ptrace(PTRACE_SYSCALL, child, nullptr, isOther ? WSTOPSIG(status) : 0);
        if (waitpid(child, &status, 0) != child || WIFEXITED(status) || WIFSIGNALED(status)) {
            return false;
        }
    }
}

/// Runs something in a process of its own, as the gateway does after its start.
bool SucceedsAfterwards(const std::function<bool()> &run) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(300);
        _exit(run() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class Proof {
public:
    explicit Proof(long every) : every_(every) {}

    void Everywhere(const Job &job) {
        long killed = 0;
        for (long number = 1;; number += every_) {
            Shared()->last = 0;
            job.prepare();
            if (!KillAt(job, number)) {
                break;
            }
            ++killed;
            Check(job, "killed at stop " + std::to_string(number));
        }
        std::printf("%-40s %5ld kills\n", job.name.c_str(), killed);
        std::fflush(stdout);
        killed_ += killed;
    }

    void Check(const Job &job, const std::string &when) {
        Complain(job, when, job.wrong());
        Complain(job, when, SucceedsAfterwards(job.run) ? "" : "the job does not work afterwards");
        Complain(job, when + ", and the next", job.wrong());
    }

    void Count(long killed) { killed_ += killed; }

    int Finish() const {
        std::printf("%ld kills, %ld wrong\n", killed_, wrongs_);
        return wrongs_ == 0 ? 0 : 1;
    }

private:
    void Complain(const Job &job, const std::string &when, const std::string &what) {
        if (!what.empty()) {
            ++wrongs_;
            std::printf("%s, %s: %s\n", job.name.c_str(), when.c_str(), what.c_str());
        }
    }

    long every_;
    long killed_ = 0;
    long wrongs_ = 0;
};

void ForgetReport() {
    RemoveAll(kFolder);
}

Job Production(const ScriptedServer &server, const Wire &wire) {
    Configure(server, wire);
    ForgetReport();
    ProduceOnce();
    gWholeDocument = ContentOf(Shared()->File());
    return {"real data, " + NameOf(wire), ForgetReport, ProduceOnce, WrongDocument};
}

const Job kDownload{"download", [] { std::remove(kInstalled); }, Download, WrongInstallation};
const Job kTextLog{"text log", [] { RemoveAll("/tmp/CloudLog"); }, WriteTextBatch, WrongTextLog};
const Job kDatabaseLog{"database log", [] { RemoveAll("/tmp/CloudLog"); }, WriteDatabaseBatch,
                       WrongDatabase};

// A working host.

[[noreturn]] void Work(const std::string &upload) {
    std::thread([upload] {
        for (std::string path = upload;;) {
            UploadRealDataFile(path.data());
            std::vector<recall_time_para> ranges;
            CheckRecall(&ranges);
        }
    }).detach();
    std::thread([] {
        for (;;) {
            WriteDatabaseBatch();
            Download();
        }
    }).detach();
    for (std::time_t sampleTime = 1700000000;; ++sampleTime) {
        Produce(sampleTime);
    }
}

void AtRandom(Proof &proof, long times, const Job &production) {
    std::mt19937 random(1);
    std::uniform_int_distribution<useconds_t> moments(0, 30000);
    for (long i = 0; i < times; ++i) {
        Shared()->last = 0;
        ForgetReport();
        const pid_t child = fork();
        if (child == 0) {
            Work("/tmp/S1.json");
        }
        const timespec moment{0, static_cast<long>(moments(random)) * 1000};
        nanosleep(&moment, nullptr);
        Kill(child);
        const std::string when = "a host killed at random, " + std::to_string(i);
        proof.Check(production, when);
        proof.Check(kDownload, when);
        proof.Check(kDatabaseLog, when);
    }
    proof.Count(times);
    std::printf("%-40s %5ld kills\n", "a working host, at random", times);
}

int Run(long every, long random) {
    // What those that are killed had started is ours then.
    if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) {
        std::perror("prctl");
        return 2;
    }
    for (const char *folder : {kFolder, "/tmp/installed"}) {
        WriteFile(std::string(folder) + "/file", "");
        RemoveAll(folder);
    }
    WriteFile("/tmp/S1.json", "a data file");
    ScriptedServer server;
    server.KeepNoRequests();
    server.Otherwise([](const Request &request) { return CloudAnswer(request, "json"); });
    GatewayOn(server.Port()).Write();
    if (GetCChannelSetInstance()->Open("/quorvane/Config/Channel-template.xml") != 0) {
        std::fputs("the configuration cannot be loaded\n", stderr);
        return 2;
    }
    Proof proof(every);
    for (const char *format : {"json", "xml"}) {
        for (const bool compressed : {false, true}) {
            proof.Everywhere(Production(server, {format, Protocol::kHttp, compressed}));
        }
    }
    const Job production = Production(server, {});
    proof.Everywhere(kDownload);
    proof.Everywhere(kTextLog);
    proof.Everywhere(kDatabaseLog);
    AtRandom(proof, random, production);
    return proof.Finish();
}

}  // namespace
}  // namespace corvenna::test

int main(int argc, char **argv) {
    CLI::App options("Kills at every call, and at random.");
    long every = 1;
    long random = 1000;
    options.add_option("--every", every, "only every Nth call")->check(CLI::PositiveNumber);
    options.add_option("--random", random, "kills of a working host")
        ->check(CLI::NonNegativeNumber);
    CLI11_PARSE(options, argc, argv);
    return corvenna::test::Run(every, random);
}
