#include "log/level.h"

namespace {

constexpr const char *kLevelWords[] = {"SEND", "RECV", "DEBUG", "INFO", "WARN", "ERROR", "FATAL"};

}  // namespace

const char *LogLevelToString(LogLevel level) {
    constexpr int kLevels = sizeof kLevelWords / sizeof kLevelWords[0];
    return 0 <= level && level < kLevels ? kLevelWords[level] : "UNKNOWN";
}
