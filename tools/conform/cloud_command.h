#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "tools/conform/output.h"
#include "tools/conform/talk.h"

namespace corvenna::conform {

/// "Is your cloud right?": the command line of `corvenna-conform cloud`, and its work.
class CloudCommand {
public:
    explicit CloudCommand(CLI::App &app);

    /// @return the exit code. Throws std::exception when there is nothing to judge.
    int Run();

private:
    Server ServerAt(const std::string &url) const;
    std::vector<Way> Ways() const;
    void Try(const Server &server, Report &report) const;

    std::vector<std::string> urls_;
    CloudQuestion question_;
    std::string user_;
    std::string passwordFile_;
    std::string password_;
    std::vector<std::string> formats_;
    std::vector<std::string> encodings_;
    long timeoutSeconds_ = 90;
    OutputOptions output_;
};

}  // namespace corvenna::conform
