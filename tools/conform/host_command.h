#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/conform/host_run.h"
#include "tools/conform/output.h"

namespace corvenna::conform {

/// "Is your host right?": the command line of `corvenna-conform host`, and its work.
class HostCommand {
public:
    explicit HostCommand(CLI::App &app);

    /// @return the exit code. Throws std::exception when there is nothing to judge.
    int Run();

private:
    Judgements Try(const std::string &scenario, const std::string &folder) const;

    HostRun run_;
    std::string record_;
    std::vector<std::string> scenarios_;
    OutputOptions output_;
};

}  // namespace corvenna::conform
