#pragma once

/// @file
/// What a host calls, on its own threads, with the two producers of data files that come in from
/// below. Init comes first and alone; after -1 from it nothing else may be called. All others may
/// be called by several threads at once. Pointers are the host's and are borrowed for the call.
/// Nothing is thrown into the host.

#include <pthread.h>

#include <cstdint>
#include <vector>

#include "base/export.h"
#include "message/records.h"
#include "packfile/data_files.h"
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

extern "C" {

/// Starts logging, loads the configuration and fills the schedule (all -1 when the cloud service is
/// switched off). Takes at least 100 ms for each configured device.
/// @param info receives the schedule; written only when the result is 0.
/// @return 0; -1 when info is null or a configuration file does not load (logged).
CORVENNA_API int Init(Interval_info *info);

/// Announces the gateway and then its devices. Blocks up to 90 s a request.
/// @return 0 when the server accepted both, otherwise -1 (logged).
CORVENNA_API int PrePost(void);

/// Does nothing.
/// @return 0.
CORVENNA_API int SyncHeartBeat(void);

/// Sends one produced file of real data. Blocks up to 90 s. An answer of 426 starts the download
/// thread, unless one is running; the process ends (status 0) when the thread cannot be created.
/// The file stays: its fate is the host's business.
/// @param path of the file, at most 126 bytes; not changed.
/// @return 0 when the server took the file (200, 201, 426), and when the path does not carry the
///         configured file type, of which nothing is sent; otherwise -1, also for a null path
///         (logged).
CORVENNA_API int UploadRealDataFile(char *path);

/// Sends one produced file of alarms. Blocks up to 90 s. The file stays.
/// @param path of the file, at most 126 bytes.
/// @return 0 when the server took the file (200, 201); otherwise -1, also for a null path (logged).
CORVENNA_API int UploadAlarmDataFile(const char *path);

/// Fetches the time ranges that the server wants again and appends them to *out. One call at a
/// time: a second one waits. Blocks up to 90 s.
/// @param out keeps what it holds; on the calling thread alone until the call returns.
/// @return 0 when the server answered well, otherwise -1, also for a null list.
CORVENNA_API int CheckRecall(std::vector<recall_time_para> *out);

/// Tells the server that a range has been served. Blocks up to 90 s.
/// @param range as CheckRecall gave it; only read.
/// @return 0 when the server answered 204, otherwise -1, also for a null range (logged).
CORVENNA_API int DeleteRecall(recall_time_para *range);

/// The list that the recall answer is parsed into; set by CheckRecall. Not for hosts.
CORVENNA_API extern std::vector<recall_time_para> *gPRecalltime;
/// The list that the download list is parsed into; set by the download thread. Not for hosts.
CORVENNA_API extern std::vector<down_file_para> *gPDownFile;
/// Held while a download thread runs; made by Init. A host may lock it: then no download runs, and
/// none begins before it is unlocked.
CORVENNA_API extern pthread_mutex_t down_file_mutex;
}
