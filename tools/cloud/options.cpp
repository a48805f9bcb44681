#include "tools/cloud/options.h"

#include <CLI/CLI.hpp>
#include <stdexcept>

namespace corvenna::cloud {
namespace {

constexpr int kBadCommandLine = 2;
constexpr int kHttpPort = 8080;
constexpr int kHttpsPort = 8443;

std::string CheckPrefix(const std::string &prefix) {
    const bool good =
        prefix.empty() || (prefix.front() == '/' && prefix.size() > 1 && prefix.back() != '/' &&
                           prefix.find_first_of(" ?#%") == std::string::npos);
    return good ? "" : "it begins with / and does not end with it, or is empty";
}

std::string CheckFault(const std::string &text) {
    try {
        ParseFault(text);
        return "";
    } catch (const std::invalid_argument &error) {
        return error.what();
    }
}

/// What --fault accepts, for the help text.
std::string FaultHelp() {
    std::string text = "Exchanges of --fault EXCHANGE:KIND[=VALUE][*COUNT]:\n ";
    for (const ExchangeRow &row : Exchanges()) {
        text += std::string(" ") + row.name;
    }
    text += "\nKinds:\n";
    for (const FaultKindRow &row : FaultKinds()) {
        text += "  " + std::string(row.name) +
                (row.valueMeaning == nullptr
                     ? ""
                     : "=" + std::to_string(row.usual) + " (" + row.valueMeaning + ")") +
                ": " + row.meaning + "\n";
    }
    return text + "tls-old and tls-break go with the exchange connection.\n";
}

}  // namespace

std::optional<Options> ReadOptions(int argc, char **argv, int &exitCode) {
    Options options;
    std::vector<std::string> faults;
    CLI::App app("A cloud server for Corvenna gateways.", "corvenna-cloud");
    app.footer(FaultHelp());
    app.set_version_flag("--version", CORVENNA_VERSION);
    const CLI::Range port(0, 65535);
    app.add_option("--data", options.data, "folder of everything that is kept")
        ->capture_default_str();
    app.add_option("--address", options.address, "where gateways connect; loopback unless given")
        ->capture_default_str();
    app.add_option(
           "--http", options.http,
           "port for HTTP, 0 for a free one; without --http and --https both are served, on "
           "8080 and 8443")
        ->check(port);
    app.add_option("--https", options.https, "port for HTTPS, 0 for a free one")->check(port);
    app.add_option("--admin", options.admin, "port of web page and API, 0 for a free one")
        ->check(port)
        ->capture_default_str();
    app.add_option("--admin-address", options.adminAddress,
                   "where page and API are served; whoever reaches them may do everything")
        ->capture_default_str();
    app.add_option("--prefix", options.prefix, "path before every REST path, the gateway's Dir")
        ->check(CheckPrefix);
    auto *certificate = app.add_option("--certificate", options.certificate,
                                       "PEM file; made in the data folder when not given");
    app.add_option("--key", options.key, "PEM file of its key")->needs(certificate);
    certificate->needs("--key");
    app.add_option("--max-body", options.maxBody, "bytes of a gateway's body")
        ->capture_default_str();
    app.add_option("--max-inflated", options.maxInflated, "bytes of a body after inflating")
        ->capture_default_str();
    app.add_option("--max-file", options.maxFile, "bytes of an offered file")
        ->capture_default_str();
    app.add_option("--ready-file", options.readyFile,
                   "also write the ready line to this file, when all is served");
    app.add_option("--fault", faults, "a fault from the start on; see below")
        ->check(CheckFault)
        ->type_name("FAULT");
    app.add_flag("--routes", options.listRoutes, "print method and path of the API and end");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        exitCode = app.exit(error) == 0 ? 0 : kBadCommandLine;
        return std::nullopt;
    }
    for (const std::string &fault : faults) {
        options.faults.push_back(ParseFault(fault));
    }
    if (!options.http && !options.https) {
        options.http = kHttpPort;
        options.https = kHttpsPort;
    }
    return options;
}

}  // namespace corvenna::cloud
