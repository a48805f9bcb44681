#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/conform/report.h"

namespace corvenna::conform {

constexpr int kRight = 0;
constexpr int kFindings = 1;
constexpr int kCannotJudge = 2;

/// How a report is given out; the same for every question.
struct OutputOptions {
    bool json = false;
    bool junit = false;
    bool all = false;
    std::vector<std::string> accepted;
};

void AddOutputOptions(CLI::App &app, OutputOptions &options, const Clauses &clauses);

/// Prints a report on standard output. @return the exit code.
int GiveOut(Report report, const OutputOptions &options);

/// A line for each clause: id, exchange and rule.
void PrintClauses(const Clauses &clauses);

}  // namespace corvenna::conform
