#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "base/file_descriptor.h"
#include "tools/common/folder_lock.h"
#include "tools/common/stop_signals.h"
#include "tools/gateway/configuration_check.h"
#include "tools/gateway/configuration_rules.h"
#include "tools/gateway/options.h"
#include "tools/gateway/pace.h"
#include "tools/gateway/plugin_echo.h"
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
        const FileDescriptor file(
            open(printedPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
        if (!own_ || !file || std::fflush(stdout) != 0 || dup2(file.Get(), STDOUT_FILENO) < 0) {
            throw std::system_error(errno, std::generic_category(), printedPath);
        }
    }
    ~OutputSplit() {
        static_cast<void>(std::fflush(stdout));
        static_cast<void>(dup2(own_.Get(), STDOUT_FILENO));
    }
    OutputSplit(const OutputSplit &) = delete;
    OutputSplit &operator=(const OutputSplit &) = delete;

    int Own() const { return own_.Get(); }

    /// Empties the file when it has grown large. If that fails, the next time may do.
    static void Bound() {
        struct stat status {};
        if (fstat(STDOUT_FILENO, &status) == 0 && status.st_size > kPrintedBytes) {
            [[maybe_unused]] const int result = ftruncate(STDOUT_FILENO, 0);
        }
    }

private:
    const FileDescriptor own_;
};

Report::Form FormOf(const CommandLine &line, int output) {
    const bool table =
        line.status == "table" || (line.status == "auto" && !line.once && isatty(output) != 0);
    return table ? Report::Form::kTable : Report::Form::kLines;
}

int Configure(const CommandLine &line) {
    const auto source = MakeSource(line);
    const ConfigurationOptions options = MakeConfiguration(line);
    CheckOptions(options);
    CheckDevices(options, source->Devices());
    CheckCertificate(options, line.root);
    if (HasConfiguration(line.root) && !line.force) {
        throw std::runtime_error("there is a configuration in " + line.root + kConfigFolder +
                                 " already; --force writes over it and keeps it beside");
    }
    for (const std::string &warning : Warnings(options)) {
        static_cast<void>(std::fprintf(stderr, "corvenna-gateway: warning: %s\n", warning.c_str()));
    }
    const std::string kept = KeepConfiguration(line.root, std::time(nullptr));
    if (!kept.empty()) {
        std::printf("kept the old one in %s\n", kept.c_str());
    }
    WriteConfiguration(line.root, options, source->Devices());
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

/// What the plug-in says outside the exchanges that the gateway waits for, as in a download.
void Retell(const std::string &message, bool all, Report &report) {
    if (TellsTrouble(message)) {
        report.Complain("plug-in: %s", message.c_str());
    } else if (all) {
        report.Say("plug-in: %s", message.c_str());
    }
}

/// What the plug-in prints and logs, and who is told. Stays to the very end of the process, as one
/// object that a static reference holds: the plug-in's last thread may still be logging when all is
/// done here, and neither the stream that it writes to nor who reads it may go meanwhile.
struct Ears {
    explicit Ears(const CommandLine &line)
        : output(line.gateway.folder + "/printed.txt"),
          report(output.Own(), FormOf(line, output.Own())),
          echo([this,
                all = line.verbose](const std::string &message) { Retell(message, all, report); },
               line.verbose) {}

    const OutputSplit output;
    Report report;
    const PluginEcho echo;
};

template <class Tell>
void TellAll(const std::vector<std::string> &texts, Tell tell) {
    constexpr std::size_t kMostTold = 20;
    for (std::size_t i = 0; i < std::min(texts.size(), kMostTold); ++i) {
        tell(texts[i]);
    }
    if (texts.size() > kMostTold) {
        tell("and " + std::to_string(texts.size() - kMostTold) + " more like these");
    }
}

void ComplainOfAll(const std::vector<std::string> &problems, Report &report) {
    TellAll(problems, [&](const std::string &text) { report.Complain("%s", text.c_str()); });
}

/// What the plug-in takes in silence, so that somebody says it.
void TellOfConfiguration(const ConfigurationFindings &findings, Report &report) {
    const auto warn = [&](const std::string &text) { report.Say("warning: %s", text.c_str()); };
    ComplainOfAll(findings.errors, report);
    // The service is on in spite of them: a setting of <cloud> in other letters, say.
    TellAll(findings.unusable, warn);
    TellAll(findings.warnings, warn);
}

Loaded LoadOrExplain(Plugin &plugin, const ConfigurationFindings &findings, Report &report) {
    try {
        return Load(plugin);
    } catch (const std::exception &error) {
        ComplainOfAll(findings.unusable, report);
        throw std::runtime_error(std::string(error.what()) + "; its log is " + PluginLogPath());
    }
}

/// Settings that the plug-in cannot read have the service off for it, as those that say so.
int ExplainSwitchedOff(const ConfigurationFindings &findings, Report &report) {
    if (findings.unusable.empty()) {
        report.Say(
            "the cloud service is switched off in %s/sys.xml (\"checked\"); there is nothing "
            "to do",
            kConfigFolder);
        return EXIT_SUCCESS;
    }
    ComplainOfAll(findings.unusable, report);
    throw std::runtime_error("the plug-in found no usable settings and keeps the service off");
}

void CheckNothingIsMissing(const ConfigurationFindings &findings, const MatchedSource &source,
                           bool allowMissing, Report &report) {
    ComplainOfAll(findings.withoutPoints, report);
    ComplainOfAll(source.Unmatched(), report);
    if (!allowMissing && !(findings.withoutPoints.empty() && source.Unmatched().empty())) {
        throw std::runtime_error(
            "source and configuration do not fit together; --allow-missing runs all the same, or "
            "write a configuration for this source with 'configure'");
    }
}

int Run(const CommandLine &line) {
    // The plug-in has libcurl leave signals alone: a connection that breaks must not end the host.
    IgnoreBrokenConnections();
    // Before any thread is started. One cycle is simply ended by a signal: nothing is lost by that.
    std::optional<StopSignals> signals;
    if (!line.once) {
        signals.emplace();
    }
    const auto source = MakeSource(line);
    fs::create_directories(line.gateway.folder);
    const FolderLock lock(line.gateway.folder, "gateway");
    static Ears &ears = *new Ears(line);
    Report &report = ears.report;
    PluginLibrary plugin(line.plugin);
    const ConfigurationFindings findings = CheckConfiguration("");
    if (const std::string loading = Pace::OfLoading(findings.devices); !loading.empty()) {
        report.Say("%s", loading.c_str());
    }
    Loaded loaded = LoadOrExplain(plugin, findings, report);
    if (loaded.IsSwitchedOff()) {
        return ExplainSwitchedOff(findings, report);
    }
    TellOfConfiguration(findings, report);
    MatchedSource matched(*source, loaded.catalogue);
    CheckNothingIsMissing(findings, matched, line.allowMissing, report);
    const auto thresholds = MakeThresholds(line, loaded.catalogue);
    auto gateway = std::make_unique<Gateway>(plugin, std::move(loaded), matched, thresholds,
                                             line.gateway, report);
    report.Say("at work: %s; the plug-in's own log is %s", line.source.c_str(),
               PluginLogPath().c_str());
    if (line.once) {
        return gateway->RunOnce() ? EXIT_SUCCESS : EXIT_FAILURE;
    }
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
        // Not by the stream, which may be the plug-in's by now.
        corvenna::gateway::WriteAll(
            STDERR_FILENO,
            "corvenna-gateway: " + corvenna::gateway::Printable(error.what()) + '\n');
        return EXIT_FAILURE;
    }
}
