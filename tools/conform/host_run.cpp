#include "tools/conform/host_run.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "base/file_descriptor.h"

extern char **environ;

namespace corvenna::conform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kGrace = std::chrono::seconds(10);
constexpr auto kLook = std::chrono::milliseconds(20);

void Set(const char *name, const std::string &value) {
    if (setenv(name, value.c_str(), 1) != 0) {
        throw std::runtime_error(std::strerror(errno));
    }
}

void SetEnvironment(const HostRun &run) {
    const std::string folder = std::filesystem::path(run.library).parent_path();
    const char *before = std::getenv("LD_LIBRARY_PATH");
    const std::string path = before == nullptr ? "" : before;
    if (path != folder && path.rfind(folder + ":", 0) != 0) {
        Set("LD_LIBRARY_PATH", path.empty() ? folder : folder + ":" + path);
    }
    Set("CORVENNA_CONFORM_LIBRARY", run.library);
    Set("CORVENNA_CONFORM_RECORD", run.record);
    Set("CORVENNA_CONFORM_SCENARIO", run.scenario);
    Set("CORVENNA_CONFORM_INTERVAL", std::to_string(run.intervalSeconds));
}

/// What a child does between fork and exec.
class Actions {
public:
    Actions() {
        Check(posix_spawn_file_actions_init(&files_));
        Check(posix_spawnattr_init(&attributes_));
        // Standard output is the report's.
        Check(posix_spawn_file_actions_adddup2(&files_, STDERR_FILENO, STDOUT_FILENO));
        // A group of its own, so that what a shell has started is asked to end too.
        Check(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP));
    }
    ~Actions() {
        posix_spawn_file_actions_destroy(&files_);
        posix_spawnattr_destroy(&attributes_);
    }
    Actions(const Actions &) = delete;
    Actions &operator=(const Actions &) = delete;

    static void Check(int error) {
        if (error != 0) {
            throw std::runtime_error(std::strerror(error));
        }
    }

    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

pid_t Start(const HostRun &run) {
    std::vector<char *> words;
    std::vector<std::string> copy = run.command;
    words.reserve(copy.size() + 1);
    for (std::string &word : copy) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    const Actions actions;
    pid_t pid = 0;
    const int error = posix_spawnp(&pid, words.front(), &actions.files_, &actions.attributes_,
                                   words.data(), environ);
    if (error != 0) {
        throw std::runtime_error(run.command.front() + ": " + std::strerror(error));
    }
    return pid;
}

/// @return whether the child has ended by then.
bool EndsUntil(Clock::time_point deadline, pid_t pid, int &status) {
    for (;;) {
        const pid_t ended = waitpid(pid, &status, WNOHANG);
        if (ended == pid) {
            return true;
        }
        if ((ended < 0 && errno != EINTR) || Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(kLook);
    }
}

/// Tells the played download, which ends then, and the host.
void AskToEnd(const HostRun &run, pid_t pid) {
    const FileDescriptor stop(
        open((run.record + ".stop").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    if (!stop) {
        throw std::runtime_error(run.record + ".stop: " + std::strerror(errno));
    }
    kill(-pid, SIGTERM);
}

std::string InWords(int status) {
    return WIFSIGNALED(status) ? "ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended with " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::string RunHost(const HostRun &run) {
    SetEnvironment(run);
    const pid_t pid = Start(run);
    int status = 0;
    if (EndsUntil(Clock::now() + std::chrono::seconds(run.seconds), pid, status)) {
        return InWords(status);
    }
    AskToEnd(run, pid);
    const bool ended = EndsUntil(Clock::now() + kGrace, pid, status);
    if (!ended) {
        kill(-pid, SIGKILL);
        waitpid(pid, &status, 0);
    }
    std::error_code ignored;
    std::filesystem::remove(run.record + ".stop", ignored);
    return ended ? InWords(status) : "killed, ten seconds after it was asked to end";
}

}  // namespace corvenna::conform
