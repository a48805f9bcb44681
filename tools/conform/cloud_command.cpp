#include "tools/conform/cloud_command.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace corvenna::conform {
namespace {

/// A serial number as gateways have them, and as URLs take them.
std::string SerialProblem(const std::string &serial) {
    constexpr const char *kLetters =
        "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_";
    const bool good = !serial.empty() && serial.size() <= 18 &&
                      serial.find_first_not_of(kLetters) == std::string::npos;
    return good ? "" : "a serial number is 1 to 18 letters and digits";
}

bool Wants(const std::vector<std::string> &words, const char *word) {
    return words.empty() || std::find(words.begin(), words.end(), word) != words.end();
}

std::string FirstLine(const std::string &path) {
    std::ifstream stream(path);
    std::string line;
    if (!std::getline(stream, line)) {
        throw std::runtime_error("there is no line in " + path);
    }
    return line;
}

}  // namespace

CloudCommand::CloudCommand(CLI::App &app) {
    app.add_option("URL", urls_,
                   "Scheme, host, port and prefix of a server, as http://10.0.0.7:8080/plant; "
                   "several are tried one after the other")
        ->required();
    app.add_option("--serial", question_.serial, "Serial number of the gateway that is played")
        ->check(SerialProblem)
        ->capture_default_str();
    app.add_option("--format", formats_, "json or xml alone")
        ->check(CLI::IsMember({"json", "xml"}))
        ->allow_extra_args(false);
    app.add_option("--encoding", encodings_, "plain or deflate alone")
        ->check(CLI::IsMember({"plain", "deflate"}))
        ->allow_extra_args(false);
    auto *user = app.add_option("--user", user_, "Name for registration over HTTPS");
    user->needs(app.add_option("--password-file", passwordFile_, "Its first line is the password")
                    ->needs(user)
                    ->check(CLI::ExistingFile));
    app.add_option("--recall-command", question_.recallCommand,
                   "Shell command by which the server recalls data of gateway $CORVENNA_SERIAL");
    app.add_option("--offer-command", question_.offerCommand,
                   "Shell command by which the server offers it a file");
    app.add_option("--timeout", timeoutSeconds_, "Seconds for one exchange")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    AddOutputOptions(app, output_, CloudClauses());
}

Server CloudCommand::ServerAt(const std::string &url) const {
    Server server;
    if (!ReadUrl(url, server)) {
        throw std::runtime_error(url + " is no URL of a server, as http://HOST:PORT/PREFIX");
    }
    server.timeoutSeconds = timeoutSeconds_;
    server.user = user_;
    server.password = password_;
    if (!Client(server).CanConnect()) {
        throw std::runtime_error(url + " cannot be reached");
    }
    return server;
}

std::vector<Way> CloudCommand::Ways() const {
    std::vector<Way> ways;
    for (const Format format : {Format::kJson, Format::kXml}) {
        for (const bool deflated : {false, true}) {
            const Way way{format, deflated};
            if (Wants(formats_, way.Word()) && Wants(encodings_, deflated ? "deflate" : "plain")) {
                ways.push_back(way);
            }
        }
    }
    return ways;
}

void CloudCommand::Try(const Server &server, Report &report) const {
    CloudQuestion question = question_;
    question.server = server;
    for (const Way way : Ways()) {
        Judgements found(server.url + ", " + way.Word() + (way.deflated ? ", deflated" : ", plain"),
                         CloudClauses());
        Talk talk(question, way, found);
        TryRegistration(talk);
        TryUploads(talk);
        TryRecalls(talk);
        TryDownloads(talk);
        report.runs.push_back(found);
    }
}

int CloudCommand::Run() {
    password_ = passwordFile_.empty() ? "" : FirstLine(passwordFile_);
    Report report;
    for (const std::string &url : urls_) {
        const Server server = ServerAt(url);
        report.subject += (report.subject.empty() ? "" : " ") + server.url;
        Try(server, report);
    }
    return GiveOut(std::move(report), output_);
}

}  // namespace corvenna::conform
