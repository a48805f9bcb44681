#include <curl/curl.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "tools/conform/cloud_command.h"
#include "tools/conform/host_command.h"

namespace corvenna::conform {
namespace {

constexpr const char *kDescription =
    "Holds a server against what gateways with the cloud forwarding plug-in send and expect, or a "
    "host against how the plug-in wants to be called, clause by clause.";
constexpr const char *kFooter =
    "Exit codes: 0 nothing is broken, 1 something is, 2 it cannot be judged (or a wrong command "
    "line).\n"
    "docs/conform.md explains every clause.";

int Main(int count, char **arguments) {
    CLI::App app(kDescription, "corvenna-conform");
    app.footer(kFooter);
    app.set_version_flag("--version", CORVENNA_VERSION);
    app.require_subcommand(1);
    CLI::App *cloud = app.add_subcommand("cloud", "Is your cloud right?");
    CloudCommand cloudCommand(*cloud);
    CLI::App *host = app.add_subcommand("host", "Is your host right?");
    HostCommand hostCommand(*host);
    CLI::App *clauses =
        app.add_subcommand("clauses", "Lists the clauses of a question, a line each");
    std::string question;
    clauses->add_option("QUESTION", question)->required()->check(CLI::IsMember({"cloud", "host"}));
    try {
        app.parse(count, arguments);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kRight : kCannotJudge;
    }
    if (clauses->parsed()) {
        PrintClauses(question == "cloud" ? CloudClauses() : HostClauses());
        return kRight;
    }
    return cloud->parsed() ? cloudCommand.Run() : hostCommand.Run();
}

}  // namespace
}  // namespace corvenna::conform

int main(int count, char **arguments) {
    try {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
            throw std::runtime_error("libcurl cannot begin");
        }
        return corvenna::conform::Main(count, arguments);
    } catch (const std::exception &error) {
        static_cast<void>(std::fprintf(stderr, "corvenna-conform: %s\n", error.what()));
        return corvenna::conform::kCannotJudge;
    }
}
