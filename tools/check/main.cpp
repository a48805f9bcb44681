#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "tools/check/check.h"
#include "tools/check/show.h"

namespace corvenna::check {
namespace {

constexpr int kGood = 0;
constexpr int kWarned = 1;
constexpr int kBad = 2;

constexpr const char *kDescription =
    "Says what the cloud forwarding plug-in will understand of a configuration, and warns of all "
    "that it takes in silence otherwise than it is written.";
constexpr const char *kFooter =
    "Exit codes: 0 nothing was found, 1 warnings, 2 errors (or a wrong command line).\n"
    "docs/check.md explains every rule.";

struct CommandLine {
    std::string root;
    bool json = false;
    std::string points;
    std::vector<std::string> accepted;
};

void AddOptions(CLI::App &app, CommandLine &line) {
    app.footer(kFooter);
    app.set_version_flag("--version", CORVENNA_VERSION);
    app.add_option("--root", line.root, "Folder before /quorvane/Config; none for the real one")
        ->check(CLI::ExistingDirectory);
    auto *json = app.add_flag("--json", line.json, "One JSON object instead of tables");
    app.add_option("--points", line.points,
                   "'csv': the points alone, a line each; findings go to standard error")
        ->check(CLI::IsMember({"csv"}))
        ->excludes(json);
    app.add_option("--accept", line.accepted,
                   "A rule whose findings are known: they are neither shown nor counted; may be "
                   "repeated");
}

void Print(std::FILE *stream, const std::string &text) {
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stream));
}

void TakeOut(const std::vector<std::string> &accepted, Findings &findings) {
    for (const std::string &rule : accepted) {
        const auto kept = std::remove_if(findings.begin(), findings.end(),
                                         [&](const Finding &one) { return one.rule == rule; });
        if (kept == findings.end()) {
            Print(stderr, "corvenna-check: nothing was found of the rule " + rule + "\n");
        }
        findings.erase(kept, findings.end());
    }
}

int ExitCode(const Report &report) {
    if (report.Count(Severity::kError) > 0 || !report.loaded.Loads()) {
        return kBad;
    }
    return report.findings.empty() ? kGood : kWarned;
}

int Run(const CommandLine &line) {
    std::string root = line.root;
    root.erase(root.find_last_not_of('/') + 1);
    Findings findings = Check(root).findings;
    TakeOut(line.accepted, findings);
    const Loaded loaded(root);
    const Report report{root + "/quorvane/Config", loaded, findings};
    if (line.json) {
        Print(stdout, AsJson(report));
    } else if (!line.points.empty()) {
        Print(stdout, PointsAsCsv(loaded));
        Print(stderr, AsText(findings));
    } else {
        Print(stdout, AsTables(report));
    }
    if (std::fflush(stdout) != 0) {
        std::perror("corvenna-check: standard output");
        return kBad;
    }
    return ExitCode(report);
}

int Main(int count, char **arguments) {
    CommandLine line;
    CLI::App app(kDescription, "corvenna-check");
    AddOptions(app, line);
    try {
        app.parse(count, arguments);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kGood : kBad;
    }
    return Run(line);
}

}  // namespace
}  // namespace corvenna::check

int main(int count, char **arguments) {
    try {
        return corvenna::check::Main(count, arguments);
    } catch (const std::exception &error) {
        static_cast<void>(std::fprintf(stderr, "corvenna-check: %s\n", error.what()));
        return 2;
    }
}
