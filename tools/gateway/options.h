#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/gateway/configuration.h"
#include "tools/gateway/gateway.h"
#include "tools/gateway/source.h"

namespace corvenna::gateway {

/// The command line.
struct CommandLine {
    enum class Command { kConfigure, kRun };
    Command command = Command::kRun;

    std::string source = "self";  ///< "self", "wave" or a file of recorded values
    std::string waveSize = "1x2x3";
    std::string fileSystem = "/";  ///< a folder on the one that "self" shows
    std::vector<std::string> alarms;

    std::string root;  ///< of the configuration to write
    bool force = false;
    std::string passwordFile;
    std::string position;
    ConfigurationOptions configuration;

    std::string plugin;
    Gateway::Options gateway;
    std::string status = "auto";  ///< "auto", "table" or "lines"
    bool allowMissing = false;
    bool once = false;
    bool verbose = false;  ///< repeats what the plug-in logs
};

/// Reads the command line. @return false when the program has to end with `exitCode`: after a
/// request for help, or because something is wrong with it (said on standard error).
bool ParseCommandLine(int count, const char *const *arguments, CommandLine &line, int &exitCode);

/// What is to be configured, with the password of its file. Throws std::runtime_error when that
/// cannot be read, or the position is none.
ConfigurationOptions MakeConfiguration(const CommandLine &line);

/// The source that the command line names. Throws std::runtime_error when it cannot be used.
std::unique_ptr<Source> MakeSource(const CommandLine &line);

/// The thresholds that the command line names, over the points of a source. Throws
/// std::runtime_error when one cannot be understood, or says the same as another.
std::vector<Threshold> MakeThresholds(const CommandLine &line, const Catalogue &devices);

}  // namespace corvenna::gateway
