#pragma once

#include <pthread.h>

#include <vector>

#include "config/sys_set.h"
#include "message/records.h"

namespace corvenna {

// Each reads an answer up to its terminating NUL; the mutex is held while it is parsed, and
// released before its members are read. 0 (ParseRecallsJson: the number of entries now in the
// list), -1 when the text does not parse. A missing member or one of the wrong type raises
// std::logic_error, and there is std::bad_alloc. The records found are appended, all of an answer
// or none; `cut` is set when the list had no room for all (logged). The gateway's fields are set
// one by one.

int ParseGatewayJson(const char *data, pthread_mutex_t &mutex, ST_GATEWAY_INFO &info);
int ParseDevicesJson(const char *data, pthread_mutex_t &mutex, std::vector<ST_DEVICE_INFO> &devices,
                     bool &cut);
int ParseDownFilesJson(const char *data, pthread_mutex_t &mutex, std::vector<down_file_para> &files,
                       bool &cut);
int ParseRecallsJson(const char *data, pthread_mutex_t &mutex,
                     std::vector<recall_time_para> &ranges, bool &cut);

}  // namespace corvenna
