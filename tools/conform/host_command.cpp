#include "tools/conform/host_command.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tools/conform/host_record.h"
#include "tools/conform/judge_host.h"

namespace corvenna::conform {
namespace {

namespace fs = std::filesystem;

/// Where the stand-in lies, seen from the program: installed, or in a build folder.
std::string StandIn() {
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    for (const char *folder : {CORVENNA_CONFORM_INSTALLED, CORVENNA_CONFORM_PACKAGED, "host"}) {
        const fs::path library = here / folder / "libcorvenna.so";
        if (fs::exists(library)) {
            return library.lexically_normal();
        }
    }
    return "";
}

std::string Joined(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

/// A folder that is gone with what is in it at the end.
class WorkFolder {
public:
    WorkFolder() {
        std::string name = (fs::temp_directory_path() / "corvenna-conform-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error(name + " cannot be made");
        }
        path_ = name;
    }
    ~WorkFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    WorkFolder(const WorkFolder &) = delete;
    WorkFolder &operator=(const WorkFolder &) = delete;

    const std::string &Path() const { return path_; }

private:
    std::string path_;
};

}  // namespace

HostCommand::HostCommand(CLI::App &app) {
    run_.library = StandIn();
    auto *command =
        app.add_option("COMMAND", run_.command, "The host and its arguments, behind --");
    auto *record =
        app.add_option("--record", record_, "Judges what was recorded elsewhere; no host is run")
            ->check(CLI::ExistingFile)
            ->excludes(command);
    app.add_option("--library", run_.library, "The stand-in that the host is given")
        ->check(CLI::ExistingFile);
    app.add_option("--scenario", scenarios_,
                   "work, off (all intervals -1) or unusable (Init fails) alone")
        ->check(CLI::IsMember({"work", "off", "unusable"}))
        ->allow_extra_args(false)
        ->excludes(record);
    app.add_option("--seconds", run_.seconds, "Until the host is asked to end by SIGTERM")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    app.add_option("--interval", run_.intervalSeconds,
                   "Seconds instead of the configured intervals; 0 keeps those")
        ->check(CLI::Range(0, 32767))
        ->capture_default_str();
    AddOutputOptions(app, output_, HostClauses());
}

Judgements HostCommand::Try(const std::string &scenario, const std::string &folder) const {
    HostRun run = run_;
    run.scenario = scenario;
    run.record = (fs::path(folder) / scenario).string();
    const std::string end = RunHost(run);
    static_cast<void>(std::fprintf(stderr, "corvenna-conform: the host %s (%s)\n", end.c_str(),
                                   scenario.c_str()));
    Judgements found(Joined(run.command) + ", " + scenario, HostClauses());
    JudgeHost(ReadRecord(run.record), true, found);
    if (scenario != "work") {
        found.KeepJudged();  // there is nothing else to be seen of a host that does nothing
    }
    return found;
}

int HostCommand::Run() {
    Report report;
    if (!record_.empty()) {
        report.subject = record_;
        report.runs.emplace_back(record_, HostClauses());
        JudgeHost(ReadRecord(record_), false, report.runs.back());
        return GiveOut(report, output_);
    }
    if (run_.command.empty() || run_.library.empty()) {
        throw std::runtime_error(run_.command.empty()
                                     ? "which host? A command or --record is needed"
                                     : "the stand-in is not where it belongs");
    }
    run_.library = fs::absolute(run_.library);
    report.subject = Joined(run_.command);
    const WorkFolder folder;
    const std::vector<std::string> all = {"work", "off", "unusable"};
    for (const std::string &scenario : scenarios_.empty() ? all : scenarios_) {
        report.runs.push_back(Try(scenario, folder.Path()));
    }
    return GiveOut(report, output_);
}

}  // namespace corvenna::conform
