#include "tools/gateway/options.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <stdexcept>

#include "tools/gateway/csv_source.h"
#include "tools/gateway/self_source.h"
#include "tools/gateway/wave_source.h"

namespace corvenna::gateway {

namespace {

constexpr int kBadCommandLine = 2;
constexpr int kDefaultSpoolDays = 30;
constexpr int kDefaultHistoryDays = 90;
constexpr int kMostWaveChannels = 100;
constexpr int kMostWavePoints = 1000;
constexpr std::int64_t kHoursADay = 24;

constexpr const char *kDescription =
    "A host for the cloud forwarding plug-in: samples values, hands them to the plug-in, sends "
    "what "
    "it produced, and keeps what could not be sent.";

struct Numbers {
    int spoolMebibytes = 64;
    int spoolDays = kDefaultSpoolDays;
    int historyDays = kDefaultHistoryDays;
};

/// A range alone lets "nan" pass.
std::string CheckIsNumber(const std::string &text) {
    return std::isnan(std::strtod(text.c_str(), nullptr)) ? "is no number" : "";
}

void AddSourceOptions(CLI::App &app, CommandLine &line) {
    app.add_option(
           "--source", line.source,
           "Where values come from: 'self' (this machine), 'wave' (generated), or a CSV file "
           "of recorded values")
        ->capture_default_str();
    app.add_option("--wave-size", line.waveSize, "CHANNELSxDEVICESxWAVES of the source 'wave'")
        ->capture_default_str();
}

void AddConfigureOptions(CLI::App &app, CommandLine &line) {
    ConfigurationOptions &to = line.configuration;
    const CLI::Range interval(-1, 32767);
    app.add_option("--root", line.root, "Folder before /quorvane/Config; none for the real one");
    app.add_option("--server", to.server, "Address of the cloud server")->capture_default_str();
    app.add_option("--port", to.port)->check(CLI::Range(1, 65535))->capture_default_str();
    app.add_option("--prefix", to.prefix, "What all paths on the server begin with, as in /plant");
    app.add_option("--format", to.format)
        ->check(CLI::IsMember({"json", "xml"}))
        ->capture_default_str();
    app.add_flag("--compress", to.compress, "Deflate files and request bodies");
    app.add_flag("--https", to.https, "Speak HTTPS");
    app.add_option("--certificate", to.certificate, "CA certificate file for HTTPS");
    app.add_option("--user", to.user, "User name for HTTPS");
    app.add_option("--password", to.password, "Password for HTTPS");
    app.add_option("--real-data", to.realDataInterval, "Interval in seconds (at least 60)")
        ->check(interval)
        ->capture_default_str();
    app.add_option("--alarm-data", to.alarmInterval, "Interval in seconds (at least 30; -1: never)")
        ->check(interval)
        ->capture_default_str();
    app.add_option("--heartbeat", to.heartbeatInterval,
                   "Interval in seconds (at least 60; -1: never)")
        ->check(interval)
        ->capture_default_str();
    app.add_option("--check-fail", to.checkFailInterval,
                   "Interval in seconds of the check of failed transfers (at least 30; -1: never)")
        ->check(interval)
        ->capture_default_str();
    app.add_option("--recall", to.recallInterval, "Interval in seconds (at least 60; -1: never)")
        ->check(interval)
        ->capture_default_str();
    app.add_option("--forward-channel", to.forwardChannel,
                   "1: send points under their names of the forwarding table; 0: under their own")
        ->check(CLI::Range(0, 255))
        ->capture_default_str();
    app.add_option("--model", to.model)->capture_default_str();
    app.add_option("--serial", to.serial, "Serial number, 1 to 18 characters")
        ->capture_default_str();
    app.add_option("--name", to.name, "Name of the gateway")->capture_default_str();
    app.add_option("--station", to.station, "Name of the station")->capture_default_str();
}

void AddRunOptions(CLI::App &app, CommandLine &line, Numbers &numbers) {
    app.add_option("--plugin", line.plugin, "The plug-in, libcorvenna.so")->capture_default_str();
    app.add_option("--data", line.gateway.folder, "Folder of history and spool")
        ->capture_default_str();
    app.add_option("--alarm", line.alarms,
                   "Limit that raises an alarm, as in 'Load/Load 1 min>4' or '01030000>4'; can be "
                   "given more than once");
    app.add_option("--speed", line.gateway.speed, "How many times faster than the intervals say")
        ->check(CLI::Range(0.01, 1000.0))
        ->check(CheckIsNumber)
        ->capture_default_str();
    app.add_option("--spool-size", numbers.spoolMebibytes, "Most MiB of files that wait")
        ->check(CLI::Range(1, 1 << 20))
        ->capture_default_str();
    app.add_option("--spool-days", numbers.spoolDays, "Most days that a file waits")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    app.add_option("--history-days", numbers.historyDays, "Days that samples can be recalled")
        ->check(CLI::Range(1, 10000))
        ->capture_default_str();
    app.add_option("--status", line.status, "'table' on a terminal, or 'lines'")
        ->check(CLI::IsMember({"auto", "table", "lines"}))
        ->capture_default_str();
    app.add_flag("--once", line.once,
                 "One cycle of everything; the exit code is 0 when nothing is left waiting");
}

bool ReadWaveSize(const std::string &text, WaveSource::Size &size) {
    unsigned channels = 0;
    unsigned devices = 0;
    unsigned waves = 0;
    char rest = 0;
    // NOLINTNEXTLINE(cert-err34-c): out of range numbers are caught below
    const int read = std::sscanf(text.c_str(), "%4ux%4ux%4u%c", &channels, &devices, &waves, &rest);
    const auto within = [](unsigned number, int most) {
        return number >= 1 && number <= static_cast<unsigned>(most);
    };
    if (read != 3 || !within(channels, kMostWaveChannels) || !within(devices, kMostWaveChannels) ||
        !within(waves, kMostWavePoints)) {
        return false;
    }
    size = {static_cast<std::uint8_t>(channels), static_cast<std::uint8_t>(devices),
            static_cast<std::uint16_t>(waves)};
    return true;
}

}  // namespace

bool ParseCommandLine(int count, const char *const *arguments, CommandLine &line, int &exitCode) {
    Numbers numbers;
    CLI::App app(kDescription, "corvenna-gateway");
    app.require_subcommand(1);
    app.set_version_flag("--version", CORVENNA_VERSION);
    CLI::App &configure = *app.add_subcommand(
        "configure", "Write a configuration for the plug-in that fits a source");
    CLI::App &run = *app.add_subcommand("run", "Drive the plug-in until SIGINT or SIGTERM");
    AddSourceOptions(configure, line);
    AddConfigureOptions(configure, line);
    AddSourceOptions(run, line);
    AddRunOptions(run, line, numbers);
    try {
        app.parse(count, arguments);
    } catch (const CLI::ParseError &error) {
        exitCode = app.exit(error) == 0 ? 0 : kBadCommandLine;
        return false;
    }
    line.command =
        configure.parsed() ? CommandLine::Command::kConfigure : CommandLine::Command::kRun;
    line.gateway.spoolBytes = static_cast<std::uint64_t>(numbers.spoolMebibytes) * 1024 * 1024;
    line.gateway.spoolAge = std::chrono::hours(numbers.spoolDays * kHoursADay);
    line.gateway.historyAge = std::chrono::hours(numbers.historyDays * kHoursADay);
    return true;
}

std::unique_ptr<Source> MakeSource(const CommandLine &line) {
    if (line.source == "self") {
        return std::make_unique<SelfSource>();
    }
    if (line.source == "wave") {
        WaveSource::Size size{};
        if (!ReadWaveSize(line.waveSize, size)) {
            throw std::runtime_error("--wave-size is CHANNELSxDEVICESxWAVES, at most 100x100x1000");
        }
        return std::make_unique<WaveSource>(size);
    }
    std::ifstream stream(line.source);
    if (!stream.is_open()) {
        throw std::runtime_error("cannot open " + line.source);
    }
    return std::make_unique<CsvSource>(stream);
}

std::vector<Threshold> MakeThresholds(const CommandLine &line, const Catalogue &devices) {
    const auto names = PointNames(devices);
    std::vector<Threshold> thresholds;
    std::set<std::pair<std::uint32_t, AlarmType>> seen;
    for (const std::string &text : line.alarms) {
        std::string error;
        const auto threshold = ParseThreshold(text, names, error);
        if (!threshold) {
            throw std::runtime_error("--alarm " + error);
        }
        if (!seen.insert({threshold->point, threshold->type}).second) {
            throw std::runtime_error("--alarm '" + text + "': that point has such a limit already");
        }
        thresholds.push_back(*threshold);
    }
    return thresholds;
}

}  // namespace corvenna::gateway
