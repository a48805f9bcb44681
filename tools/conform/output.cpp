#include "tools/conform/output.h"

#include <cstdio>
#include <set>

namespace corvenna::conform {
namespace {

std::set<std::string> IdsOf(const Clauses &clauses) {
    std::set<std::string> ids;
    for (const Clause &clause : clauses) {
        ids.insert(clause.id);
    }
    return ids;
}

std::string Text(const Report &report, const OutputOptions &options) {
    if (options.json) {
        return AsJson(report);
    }
    return options.junit ? AsJUnit(report) : AsText(report, options.all);
}

}  // namespace

void AddOutputOptions(CLI::App &app, OutputOptions &options, const Clauses &clauses) {
    auto *json = app.add_flag("--json", options.json, "One JSON object");
    auto *junit =
        app.add_flag("--junit", options.junit, "JUnit XML: a suite a run, a case a clause");
    app.add_flag("--all", options.all, "Text: also the clauses that are kept");
    json->excludes(junit);
    app.add_option("--accept", options.accepted,
                   "A clause that is known to be broken: it is left out; may be repeated")
        ->check(CLI::IsMember(IdsOf(clauses)))
        ->allow_extra_args(false);
}

int GiveOut(Report report, const OutputOptions &options) {
    for (Judgements &run : report.runs) {
        for (const std::string &id : options.accepted) {
            run.Accept(id);
        }
    }
    const std::string text = Text(report, options);
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() ||
        std::fflush(stdout) != 0) {
        std::perror("corvenna-conform: standard output");
        return kCannotJudge;
    }
    return report.Count(Verdict::kBroken) == 0 ? kRight : kFindings;
}

void PrintClauses(const Clauses &clauses) {
    for (const Clause &clause : clauses) {
        static_cast<void>(
            std::printf("%s\t%s\t%s\t%s\n", clause.id, clause.where, clause.rule, clause.page));
    }
}

}  // namespace corvenna::conform
