#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "base/export.h"
#include "message/records.h"
#include "packfile/packfile.h"

#pragma pack(push, 1)

/// The host's schedule, in the unit on which settings and host agree; -1 means never. May lie at
/// any byte address.
struct Interval_info {
    std::int32_t RealDataInv;   ///< produce and upload real data
    std::int32_t AlarmDataInv;  ///< produce and upload alarm data
    std::int32_t HeartBeatInv;  ///< call SyncHeartBeat
    std::int32_t CheckFailInv;  ///< check for failed transfers
    std::int32_t RecallInv;     ///< call CheckRecall
};
static_assert(sizeof(Interval_info) == 20);

#pragma pack(pop)

// What a host calls, on its own threads. Init comes first and alone; after -1 from it nothing else
// may be called. Pointers are the host's and are borrowed for the call.
extern "C" {

/// Starts logging, loads the configuration and fills the schedule (all -1 when the cloud service is
/// switched off). Takes at least 100 ms for each configured device.
/// @return 0; -1 when info is null or a configuration file does not load (logged).
CORVENNA_API int Init(Interval_info *info);

/// Announces the gateway and then its devices. Blocks up to 90 s a request.
/// @return 0 when the server accepted both, otherwise -1 (logged).
CORVENNA_API int PrePost(void);

/// Does nothing. @return 0.
CORVENNA_API int SyncHeartBeat(void);

/// Writes one snapshot of current values (data id → value) into a file in `dir`, an existing
/// directory without a trailing "/", and appends its path to `files`. Pauses 100 ms a device and
/// 500 ms a channel.
/// @return JSON: 0; XML: bytes written. -1 when nothing was written; 0 without an entry in `files`
///         when a configured point is not in `values`. (logged)
CORVENNA_API std::int32_t CreateRealDataFile(std::map<unsigned int, double> *values, char *dir,
                                             std::vector<std::string> *files,
                                             std::time_t sampleTime);

/// Writes one file with all alarm events, in their order, and appends its path to `files`.
/// @return as CreateRealDataFile.
CORVENNA_API std::int32_t CreateAlarmDataFile(std::vector<Alarm_Data_Para> *alarms, char *dir,
                                              std::vector<std::string> *files);

/// Sends one produced file. Blocks up to 90 s. A real-data answer of 426 starts the download
/// thread, unless one is running; the process ends (status 0) when the thread cannot be created.
/// @return 0 when the server took the file, or (real data) when the path does not carry the
///         configured file type; otherwise -1, also for a null path.
CORVENNA_API int UploadRealDataFile(char *path);
CORVENNA_API int UploadAlarmDataFile(const char *path);

/// Fetches the time ranges that the server wants again and appends them to *out. One call at a
/// time: a second one waits. Blocks up to 90 s.
/// @return 0 when the server answered well, otherwise -1, also for a null list.
CORVENNA_API int CheckRecall(std::vector<recall_time_para> *out);

/// Tells the server that a range has been served. Blocks up to 90 s.
/// @return 0 when the server answered 204, otherwise -1, also for a null range.
CORVENNA_API int DeleteRecall(recall_time_para *range);

/// The list that the recall answer is parsed into; set by CheckRecall.
CORVENNA_API extern std::vector<recall_time_para> *gPRecalltime;
/// The list that the download list is parsed into; set by the download thread.
CORVENNA_API extern std::vector<down_file_para> *gPDownFile;
/// Held while a download thread runs; made by Init.
CORVENNA_API extern pthread_mutex_t down_file_mutex;
}
