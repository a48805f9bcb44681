#pragma once

#include <vector>

#include "config/sys_set.h"
#include "message/records.h"

namespace corvenna {

// Each reads an answer of `length` bytes. 0; -1, after a message at level 4, when it has no root
// element or another than "data". The records found are appended, all of an answer or none;
// `cut` is set when the list had no room for all (logged). Throws std::bad_alloc.

int ParseGatewayXml(const char *data, int length, ST_GATEWAY_INFO &info);
int ParseDevicesXml(const char *data, int length, std::vector<ST_DEVICE_INFO> &devices, bool &cut);
int ParseDownFilesXml(const char *data, int length, std::vector<down_file_para> &files, bool &cut);
int ParseRecallsXml(const char *data, int length, std::vector<recall_time_para> &ranges, bool &cut);

}  // namespace corvenna
