#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "tools/gateway/options.h"
#include "tools/gateway/plugin_library.h"

namespace corvenna::gateway {
namespace {

namespace fs = std::filesystem;

constexpr auto kStatusPause = std::chrono::milliseconds(500);
constexpr auto kStopGrace = std::chrono::seconds(10);
constexpr off_t kPrintedBytes = 1 << 20;
constexpr const char *kPluginName = "libcorvenna.so";
constexpr const char *kDefaultData = "/var/lib/corvenna-gateway";

/// Beside the program, in the build folder above it, or wherever the loader looks.
std::string DefaultPlugin() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    for (const char *place : {"", "..", "../..", "../lib"}) {
        const fs::path candidate = program.parent_path() / place / kPluginName;
        if (!error && fs::exists(candidate)) {
            return candidate.lexically_normal();
        }
    }
    return kPluginName;
}

/// The plug-in prints to standard output now and then, answers of the server among it. That goes
/// to a file; what the gateway has to say goes to the real standard output.
class OutputSplit {
public:
    explicit OutputSplit(const std::string &printedPath)
        : own_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
        const int file = open(printedPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (own_ < 0 || file < 0) {
            throw std::system_error(errno, std::generic_category(), printedPath);
        }
        static_cast<void>(std::fflush(stdout));
        dup2(file, STDOUT_FILENO);
        close(file);
    }
    ~OutputSplit() {
        static_cast<void>(std::fflush(stdout));
        dup2(own_, STDOUT_FILENO);
        close(own_);
    }
    OutputSplit(const OutputSplit &) = delete;
    OutputSplit &operator=(const OutputSplit &) = delete;

    int Own() const { return own_; }

    /// Empties the file when it has grown large.
    static void Bound() {
        struct stat status {};
        if (fstat(STDOUT_FILENO, &status) == 0 && status.st_size > kPrintedBytes &&
            ftruncate(STDOUT_FILENO, 0) != 0) {
            std::perror("ftruncate");
        }
    }

private:
    const int own_;
};

/// Keeps a second gateway off the same history and spool, for as long as the process lives.
void LockFolder(const std::string &folder) {
    const int file = open((folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (file < 0) {
        throw std::system_error(errno, std::generic_category(), folder + "/lock");
    }
    if (flock(file, LOCK_EX | LOCK_NB) != 0) {
        close(file);
        throw std::runtime_error("another gateway is at work in " + folder);
    }
}

/// SIGINT and SIGTERM wait until they are asked for, in all threads started later.
class StopSignals {
public:
    StopSignals() {
        sigemptyset(&set_);
        sigaddset(&set_, SIGINT);
        sigaddset(&set_, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &set_, nullptr);
    }

    /// @return whether one came within the time.
    bool Wait(std::chrono::milliseconds time) const {
        const timespec timeout{static_cast<time_t>(time.count() / 1000),
                               static_cast<long>(time.count() % 1000) * 1000000};
        return sigtimedwait(&set_, nullptr, &timeout) > 0;
    }

private:
    sigset_t set_{};
};

Report::Form FormOf(const CommandLine &line, int output) {
    const bool table =
        line.status == "table" || (line.status == "auto" && !line.once && isatty(output) != 0);
    return table ? Report::Form::kTable : Report::Form::kLines;
}

int Configure(const CommandLine &line) {
    const auto source = MakeSource(line);
    WriteConfiguration(line.root, line.configuration, source->Devices());
    std::size_t points = 0;
    for (const Device &device : source->Devices()) {
        points += device.points.size();
    }
    std::printf("%s%s: %zu devices, %zu points\n", line.root.c_str(), kConfigFolder,
                source->Devices().size(), points);
    return EXIT_SUCCESS;
}

void ShowUntilStopped(Gateway &gateway, Report &report, const StopSignals &signals,
                      const std::string &source) {
    while (!signals.Wait(kStatusPause)) {
        OutputSplit::Bound();
        if (report.IsTable()) {
            StatusFacts facts = gateway.Status();
            facts.source = source;
            report.Draw(facts);
        }
    }
}

/// Waits for what is under way. An exchange may take 90 seconds: who does not end in time is left
/// behind, and everything that it was about is still in the history.
void EndWithin(std::unique_ptr<Gateway> gateway, Report &report, const StopSignals &signals) {
    gateway->Stop();
    std::atomic<bool> ended{false};
    std::thread waiting([&] {
        gateway.reset();
        ended = true;
    });
    const auto deadline = Clock::now() + kStopGrace;
    while (!ended && Clock::now() < deadline) {
        if (signals.Wait(std::chrono::milliseconds(20))) {
            break;
        }
    }
    if (!ended) {
        report.Say("stopped in the middle of an exchange; nothing is lost");
        std::_Exit(EXIT_SUCCESS);
    }
    waiting.join();
    report.Say("stopped");
}

int Run(const CommandLine &line) {
    // The plug-in has libcurl leave signals alone: a connection that breaks must not end the host.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    // Before any thread is started. One cycle is simply ended by a signal: nothing is lost by that.
    std::optional<StopSignals> signals;
    if (!line.once) {
        signals.emplace();
    }
    const auto source = MakeSource(line);
    fs::create_directories(line.gateway.folder);
    LockFolder(line.gateway.folder);
    const OutputSplit output(line.gateway.folder + "/printed.txt");
    Report report(output.Own(), FormOf(line, output.Own()));
    PluginLibrary plugin(line.plugin);
    auto gateway = std::make_unique<Gateway>(
        plugin, *source, MakeThresholds(line, source->Devices()), line.gateway, report);
    if (gateway->IsSwitchedOff()) {
        report.Say("the cloud service is switched off in the settings; there is nothing to do");
        return EXIT_SUCCESS;
    }
    if (line.once) {
        return gateway->RunOnce() ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    report.Say("at work: %s", line.source.c_str());
    gateway->Start();
    ShowUntilStopped(*gateway, report, *signals, line.source);
    EndWithin(std::move(gateway), report, *signals);
    return EXIT_SUCCESS;
}

}  // namespace
}  // namespace corvenna::gateway

int main(int count, char **arguments) {
    using corvenna::gateway::CommandLine;
    CommandLine line;
    line.plugin = corvenna::gateway::DefaultPlugin();
    line.gateway.folder = corvenna::gateway::kDefaultData;
    int exitCode = EXIT_SUCCESS;
    if (!corvenna::gateway::ParseCommandLine(count, arguments, line, exitCode)) {
        return exitCode;
    }
    try {
        return line.command == CommandLine::Command::kConfigure ? corvenna::gateway::Configure(line)
                                                                : corvenna::gateway::Run(line);
    } catch (const std::exception &error) {
        static_cast<void>(std::fprintf(stderr, "corvenna-gateway: %s\n", error.what()));
        return EXIT_FAILURE;
    }
}
