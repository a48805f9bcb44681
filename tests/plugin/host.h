#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <vector>

// The plug-in as a host meets it: the library's file, its unmangled names and records laid out by
// the host itself. None of the plug-in's headers is included here or in the tests built on it.

namespace corvenna::test {

struct Intervals {
    std::int32_t realData, alarmData, heartBeat, checkFail, recall;
};
static_assert(sizeof(Intervals) == 20);

struct Range {
    std::int32_t start, end;
};
static_assert(sizeof(Range) == 8);

struct Alarm {
    std::int32_t time;
    std::uint32_t dataId;
    alignas(8) double threshold;
    double value;
    std::int32_t type, flag;
};
static_assert(sizeof(Alarm) == 32);

/// Loads the library and looks its names up; a missing one fails the running test. The library
/// stays loaded until the process ends.
struct Plugin {
    Plugin();

    int (*Init)(void *intervals);
    int (*PrePost)();
    int (*SyncHeartBeat)();
    std::int32_t (*CreateRealDataFile)(std::map<unsigned int, double> *values, char *dir,
                                       std::vector<std::string> *files, std::time_t sampleTime);
    std::int32_t (*CreateAlarmDataFile)(std::vector<Alarm> *alarms, char *dir,
                                        std::vector<std::string> *files);
    int (*UploadRealDataFile)(char *path);
    int (*UploadAlarmDataFile)(const char *path);
    int (*CheckRecall)(std::vector<Range> *ranges);
    int (*DeleteRecall)(Range *range);
    int (*log_Text)(int level, const char *format, ...);
    int (*Main)();
    pthread_mutex_t *downFileMutex;

    /// Blocks until no download thread runs.
    void AwaitDownload() const;

private:
    void *library_;
};

/// What the text log holds: all day files (there are two when midnight passes).
std::string TextLog();

}  // namespace corvenna::test
