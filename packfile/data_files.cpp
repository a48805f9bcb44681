#include "packfile/data_files.h"

#include "base/undisturbed.h"
#include "base/wire_format.h"
#include "config/instances.h"
#include "config/sys_set.h"
#include "packfile/packfile.h"

using namespace corvenna;

std::int32_t CreateRealDataFile(std::map<unsigned int, double> *values, char *dir,
                                std::vector<std::string> *files, std::time_t sampleTime) {
    const Undisturbed whole;
    const ST_CLOUDSERVER_CONFIG_ATTR &settings = *GetCSysSetInstance()->GetCloudConfigAttr();
    CPackFile &packFile = *GetCPackFileInstance();
    switch (FormatOf(settings.filetype)) {
        case Format::kJson:
            return packFile.CreateRealDataJsonFile(values, dir, files, sampleTime,
                                                   settings.TcpChannel);
        case Format::kXml:
            return packFile.CreateRealDataXmlFile(values, dir, files, sampleTime,
                                                  settings.TcpChannel);
        case Format::kUnknown:
            break;
    }
    return -1;
}

std::int32_t CreateAlarmDataFile(std::vector<Alarm_Data_Para> *alarms, char *dir,
                                 std::vector<std::string> *files) {
    const Undisturbed whole;
    const ST_CLOUDSERVER_CONFIG_ATTR &settings = *GetCSysSetInstance()->GetCloudConfigAttr();
    CPackFile &packFile = *GetCPackFileInstance();
    switch (FormatOf(settings.filetype)) {
        case Format::kJson:
            return packFile.CreateAlarmDataJsonFile(alarms, dir, files);
        case Format::kXml:
            return packFile.CreateAlarmDataXmlFile(alarms, dir, files);
        case Format::kUnknown:
            break;
    }
    return -1;
}
