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
constexpr int kMostWaveChannels = 100;
constexpr int kMostWavePoints = 1000;
constexpr std::int64_t kHoursADay = 24;
constexpr std::uint64_t kMebibyte = 1ULL << 20U;

constexpr const char *kDescription =
    "A host for the cloud forwarding plug-in: samples values, hands them to the plug-in, sends "
    "what "
    "it produced, and keeps what could not be sent.";

int DaysOf(std::chrono::seconds time) {
    return static_cast<int>(time / std::chrono::hours(kHoursADay));
}

/// The units in which people give limits; the limits themselves, and what they are when nothing is
/// said, are the gateway's.
struct Numbers {
    explicit Numbers(const Gateway::Options &options)
        : spoolMebibytes(static_cast<int>(options.spoolBytes / kMebibyte)),
          spoolDays(DaysOf(options.spoolAge)),
          historyDays(DaysOf(options.historyAge)) {}
    void Store(Gateway::Options &options) const {
        options.spoolBytes = static_cast<std::uint64_t>(spoolMebibytes) * kMebibyte;
        options.spoolAge = std::chrono::hours(spoolDays * kHoursADay);
        options.historyAge = std::chrono::hours(historyDays * kHoursADay);
    }

    int spoolMebibytes;
    int spoolDays;
    int historyDays;
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
    app.add_option("--file-system", line.fileSystem,
                   "A folder on the file system that 'self' shows as the root's")
        ->check(CLI::ExistingDirectory)
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
    app.add_option("--password", to.password,
                   "Password for HTTPS; everybody on this machine can see it here")
        ->envname("CORVENNA_PASSWORD");
    app.add_option("--password-file", line.passwordFile,
                   "File whose first line is the password; goes before the other two");
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
    app.add_option("--address", to.address, "Where the gateway stands")->capture_default_str();
    app.add_option("--owner", to.owner, "Who owns it")->capture_default_str();
    app.add_option("--room", to.room, "The room it is in")->capture_default_str();
    app.add_option("--position", line.position,
                   "LONGITUDE,LATITUDE in degrees, as in 8.547,47.378");
    app.add_flag("--force", line.force,
                 "Write over a configuration that is there; it is kept beside the new one");
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
    app.add_flag("--newest-first", line.gateway.newestFirst,
                 "Produce and send the newest first while several samples wait");
    app.add_option("--status", line.status, "'table' on a terminal, or 'lines'")
        ->check(CLI::IsMember({"auto", "table", "lines"}))
        ->capture_default_str();
    app.add_flag("--allow-missing", line.allowMissing,
                 "Run although source and configuration differ: points without a source are sent "
                 "as not read, columns without a point stay in the history");
    app.add_flag("--verbose", line.verbose, "Repeat everything that the plug-in logs");
    app.add_flag("--once", line.once,
                 "One cycle of everything; the exit code is 0 when nothing is left waiting");
}

bool ReadWaveSize(const std::string &text, WaveSource::Size &size) {
    unsigned channels = 0;
    unsigned devices = 0;
    unsigned waves = 0;
    char rest = 0;
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

/// Throws std::runtime_error when the file has no first line.
std::string ReadPassword(const std::string &path) {
    std::ifstream stream(path);
    std::string line;
    if (!std::getline(stream, line)) {
        throw std::runtime_error("--password-file: " + path +
                                 " has no first line that can be read");
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

bool IsDegrees(const std::string &text, double most) {
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return !text.empty() && text.find_first_not_of("+-.0123456789") == std::string::npos &&
           *end == '\0' && std::fabs(value) <= most;
}

void TakePosition(const std::string &position, ConfigurationOptions &to) {
    const auto comma = position.find(',');
    const std::string longitude = position.substr(0, comma);
    const std::string latitude = comma == std::string::npos ? "" : position.substr(comma + 1);
    if (!IsDegrees(longitude, 180) || !IsDegrees(latitude, 90)) {
        throw std::runtime_error("--position is LONGITUDE,LATITUDE in degrees, as in 8.547,47.378");
    }
    to.longitude = longitude;
    to.latitude = latitude;
}

}  // namespace

ConfigurationOptions MakeConfiguration(const CommandLine &line) {
    ConfigurationOptions options = line.configuration;
    if (!line.passwordFile.empty()) {
        options.password = ReadPassword(line.passwordFile);
    }
    if (!line.position.empty()) {
        TakePosition(line.position, options);
    }
    return options;
}

bool ParseCommandLine(int count, const char *const *arguments, CommandLine &line, int &exitCode) {
    Numbers numbers(line.gateway);
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
    numbers.Store(line.gateway);
    return true;
}

std::unique_ptr<Source> MakeSource(const CommandLine &line) {
    if (line.source == "self") {
        return std::make_unique<SelfSource>("", line.fileSystem);
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
    return std::make_unique<CsvSource>(stream, line.source);
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
