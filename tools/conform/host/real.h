#pragma once

#include "plugin/plugin.h"

// The plug-in's own entry points, by the names that they have in this library.
extern "C" {

int corvenna_real_Init(Interval_info *info);
std::int32_t corvenna_real_CreateRealDataFile(Real_Data_Struct *values, char *dir,
                                              std::vector<std::string> *files,
                                              std::time_t sampleTime);
std::int32_t corvenna_real_CreateAlarmDataFile(Alarm_Data_Struct *alarms, char *dir,
                                               std::vector<std::string> *files);
}
