#include "tools/cloud/options.h"

#include <arpa/inet.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <limits>
#include <stdexcept>

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {
namespace {

constexpr int kBadCommandLine = 2;
constexpr int kHttpPort = 8080;
constexpr int kHttpsPort = 8443;
constexpr std::size_t kMostBytes = std::size_t{1} << 30U;
constexpr std::size_t kMostConnections = 100000;
constexpr int kMostSeconds = 3600;

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

std::string CheckAddress(const std::string &address) {
    unsigned char bytes[sizeof(in6_addr)];
    const bool good = inet_pton(AF_INET, address.c_str(), bytes) == 1 ||
                      inet_pton(AF_INET6, address.c_str(), bytes) == 1;
    return good ? "" : "\"" + address + "\" is no IP address";
}

std::string CheckHostName(const std::string &name) {
    const bool good = !name.empty() && name.find_first_of(" /@,") == std::string::npos;
    return good ? "" : "\"" + name + "\" is no host name";
}

void AddLimits(CLI::App &app, Options &options) {
    const CLI::Range bytes(std::size_t{1}, kMostBytes);
    const CLI::Range connections(std::size_t{1}, kMostConnections);
    app.add_option("--max-body", options.gateways.maxBody, "bytes of a gateway's body")
        ->check(bytes)
        ->capture_default_str();
    app.add_option("--max-inflated", options.gateways.maxInflated,
                   "bytes of a body after inflating")
        ->check(bytes)
        ->capture_default_str();
    app.add_option("--max-file", options.administrator.maxFile, "bytes of an offered file")
        ->check(bytes)
        ->capture_default_str();
    app.add_option("--max-connections", options.limits.connections, "connections in all")
        ->check(connections)
        ->capture_default_str();
    app.add_option("--max-connections-per-address", options.limits.connectionsPerAddress,
                   "connections of one address")
        ->check(connections)
        ->capture_default_str();
}

void AddTimes(CLI::App &app, Options &options) {
    const auto add = [&app](const char *name, std::chrono::seconds &time, const char *meaning) {
        app.add_option_function<int>(
               name, [&time](int seconds) { time = std::chrono::seconds(seconds); }, meaning)
            ->check(CLI::Range(1, kMostSeconds))
            ->default_str(std::to_string(time.count()));
    };
    add("--head-time", options.limits.head,
        "seconds for the TLS handshake and for the head of a request");
    add("--body-time", options.limits.body,
        "seconds for a body or an answer, beside one for every 512 bytes of it");
    add("--idle-time", options.limits.idle, "seconds between two requests of a connection");
    add("--store-time", options.storeTime,
        "seconds for each answer of the database, its wait for a standby included");
}

/// What --keep is about, and where its days go.
struct KeepRow {
    const char *name;
    int Keeping::*days;
};
constexpr KeepRow kKeepRows[] = {
    {"samples", &Keeping::samples}, {"alarms", &Keeping::alarms}, {"trace", &Keeping::trace}};
constexpr int kMostDays = 36500;

/// Reads WHAT=DAYS. @return what is wrong with it, empty when nothing is.
std::string ReadKeep(const std::string &text, Keeping &keeping) {
    const std::size_t sign = std::min(text.find('='), text.size());
    const auto days = sign == text.size()
                          ? std::nullopt
                          : WholeNumber(std::string_view(text).substr(sign + 1), 1, kMostDays);
    for (const KeepRow &row : kKeepRows) {
        if (days && text.substr(0, sign) == row.name) {
            keeping.*row.days = static_cast<int>(*days);
            return "";
        }
    }
    return "it is samples, alarms or trace, = and 1 to " + std::to_string(kMostDays) + " days";
}

void AddKeeping(CLI::App &app, Options &options) {
    app.add_option_function<std::vector<std::string>>(
           "--keep",
           [&options](const std::vector<std::string> &all) {
               for (const std::string &one : all) {
                   static_cast<void>(ReadKeep(one, options.keeping));
               }
           },
           "days after which samples, alarms or entries of the trace are deleted; may be repeated")
        ->check([](const std::string &text) {
            Keeping unused;
            return ReadKeep(text, unused);
        })
        ->type_name("WHAT=DAYS");
}

/// Reads TYPE=WORDS. @return what is wrong with it, empty when nothing is.
std::string ReadAlarmWords(const std::string &text, AlarmWords &words) {
    const std::size_t sign = std::min(text.find('='), text.size());
    const auto type = WholeNumber(text.substr(0, sign), std::numeric_limits<int>::min(),
                                  std::numeric_limits<int>::max());
    if (!type || sign + 1 >= text.size() || CountBrokenUtf8(text) > 0) {
        return "it is the number of a type, = and words for it";
    }
    words[*type] = text.substr(sign + 1);
    return "";
}

void AddAlarmWords(CLI::App &app, AlarmWords &words) {
    app.add_option_function<std::vector<std::string>>(
           "--alarm-type",
           [&words](const std::vector<std::string> &all) {
               for (const std::string &one : all) {
                   static_cast<void>(ReadAlarmWords(one, words));
               }
           },
           "words for a type of alarms that hosts of your own send; may be repeated")
        ->check([](const std::string &text) {
            AlarmWords unused;
            return ReadAlarmWords(text, unused);
        })
        ->type_name("TYPE=WORDS");
}

void AddAccess(CLI::App &app, Options &options) {
    app.add_option("--users", options.gateways.access.usersFile,
                   "file of users that gateways register as over HTTPS, name:hash a line, as "
                   "htpasswd -B writes it; others are refused");
    app.add_option("--serials", options.gateways.access.serialsFile,
                   "file of the serial numbers that are admitted, one a line");
    app.add_option("--admin-address", options.adminAddress,
                   "where page and API are served; without a token or users whoever reaches them "
                   "may do everything")
        ->capture_default_str();
    app.add_flag("--admin-tls", options.adminTls, "page and API over HTTPS");
    app.add_option("--admin-token-file", options.administrator.access.tokenFile,
                   "file with a token that page and API want (Authorization: Bearer, or the "
                   "password that a browser asks for)");
    app.add_option("--admin-users", options.administrator.access.usersFile,
                   "file of users of page and API, name:hash a line, as htpasswd -B writes it");
    app.add_option("--trusted-host", options.administrator.access.trustedHosts,
                   "name under which page and API may be reached, beside addresses and localhost")
        ->check(CheckHostName)
        ->type_name("NAME");
    app.add_option("--trusted-proxy", options.limits.trustedProxies,
                   "address of a proxy whose X-Forwarded-For, -Proto and -Host count")
        ->check(CheckAddress)
        ->type_name("ADDRESS");
}

/// Where data is kept, and where the server is reached.
void AddPlaces(CLI::App &app, Options &options) {
    const CLI::Range port(0, 65535);
    app.add_option("--data", options.data, "folder of everything that is kept")
        ->capture_default_str();
    app.add_option("--store", options.store,
                   "where data is kept: postgresql://... for a database that several processes may "
                   "share, or a folder; the data folder unless given");
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
}

void AddCertificate(CLI::App &app, Options &options) {
    auto *certificate = app.add_option("--certificate", options.certificate,
                                       "PEM file; made in the data folder when not given");
    app.add_option("--key", options.key, "PEM file of its key")->needs(certificate);
    certificate->needs("--key");
}

/// What --fault accepts, for the help text.
std::string FaultHelp() {
    std::string text = "Exchanges of --fault EXCHANGE[@SN]:KIND[=VALUE][*COUNT]:\n ";
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
    AddPlaces(app, options);
    AddAccess(app, options);
    app.add_option("--prefix", options.gateways.prefix,
                   "path before every REST path, the gateway's Dir")
        ->check(CheckPrefix);
    AddCertificate(app, options);
    AddKeeping(app, options);
    AddAlarmWords(app, options.administrator.alarmWords);
    AddLimits(app, options);
    AddTimes(app, options);
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
