#include "packfile/packfile.h"

#include <algorithm>
#include <initializer_list>
#include <optional>

#include "base/format.h"
#include "base/json_text.h"
#include "base/local_time.h"
#include "base/text.h"
#include "base/xml_tree.h"
#include "config/channel_set.h"
#include "config/forward_config.h"
#include "config/sys_set.h"
#include "log/log.h"
#include "packfile/alarm_data.h"
#include "packfile/file_name.h"
#include "packfile/output.h"
#include "packfile/real_data_json.h"
#include "packfile/real_data_walk.h"
#include "packfile/real_data_xml.h"
#include "packfile/xml_names.h"
#include "plugin/instances.h"
#include "plugin/plugin.h"

namespace corvenna {
namespace {

// Where the process stops when an uncompressed JSON file cannot be opened.
constexpr unsigned kRealDataAssertionLine = 645;
constexpr unsigned kAlarmDataAssertionLine = 839;

/// Ours: a null argument is said and refused.
bool HasNull(const char *writer, std::initializer_list<const void *> arguments) {
    const bool hasNull = std::count(arguments.begin(), arguments.end(), nullptr) != 0;
    if (hasNull) {
        log_Text(kLogError, "%s: null argument", writer);
    }
    return hasNull;
}

bool IsCompressed(CSysSet *settings) {
    return settings->GetCloudConfigAttr()->isCompress != 0;
}

/// The tables of a forwarding channel; null for 0 and for a channel that is not configured.
const ForwardTables *TablesOf(std::uint8_t forwardChannel, const CForwardConfig &config) {
    const MAP_FORWARD &channels = config.GetForwardMap();
    const auto found = forwardChannel == 0 ? channels.end() : channels.find(forwardChannel);
    return found == channels.end() ? nullptr : &found->second;
}

RealDataSource SourceOf(const Real_Data_Struct &values, std::uint8_t forwardChannel,
                        CChannelSet *channels, const CForwardConfig *forwarding) {
    MAP_CHANNEL_POINT *points = nullptr;
    channels->GetAttr(&points);
    return {*points, TablesOf(forwardChannel, *forwarding), values};
}

struct SampleTimeText {
    char text[23];
};

SampleTimeText PrintSampleTime(const std::tm &time) {
    SampleTimeText result{};
    CopyText<sizeof result.text>(result.text, PrintTime(time).text);
    return result;
}

/// Ours: a time without a local date is said; without it there is no name for a file.
std::optional<std::tm> BreakDown(const char *writer, std::time_t time) {
    auto broken = LocalTime(time);
    if (!broken) {
        log_Text(kLogError, "%s: time %lld has no local date", writer,
                 static_cast<long long>(time));
    }
    return broken;
}

}  // namespace
}  // namespace corvenna

using corvenna::DataKind;
using corvenna::Format;

std::int32_t CPackFile::CreateRealDataJsonFile(Real_Data_Struct *values, char *dir,
                                               std::vector<std::string> *files,
                                               std::time_t sampleTime,
                                               std::uint8_t forwardChannel) {
    constexpr auto kKind = DataKind::kRealJson;
    if (corvenna::HasNull("CreateRealDataJsonFile", {values, dir, files})) {
        return -1;
    }
    const bool compress = corvenna::IsCompressed(GetCSysSetInstance());
    const auto source = corvenna::SourceOf(*values, forwardChannel, GetCChannelSetInstance(),
                                           GetCForwardConfigInstance());
    const auto time = corvenna::BreakDown("CreateRealDataJsonFile", sampleTime);
    if (!time) {
        return -1;
    }
    const auto logdt = corvenna::PrintSampleTime(*time);
    corvenna::JsonText text(corvenna::MeasureRealDataJson(source, logdt.text).Capacity());
    if (const auto missing = corvenna::SpellRealDataJson(source, logdt.text, text)) {
        log_Text(kLogInfo, "CreateRealDataJsonFile %s Error, can't find id: %08x",
                 corvenna::PrintFilePath(kKind, compress, dir, *time).text, *missing);
        return 0;
    }
    return corvenna::SaveJson({kKind, compress, dir, *time, files}, text,
                              {corvenna::kRealDataAssertionLine, __PRETTY_FUNCTION__});
}

std::int32_t CPackFile::CreateRealDataXmlFile(Real_Data_Struct *values, char *dir,
                                              std::vector<std::string> *files,
                                              std::time_t sampleTime, std::uint8_t forwardChannel) {
    constexpr auto kKind = DataKind::kRealXml;
    if (corvenna::HasNull("CreateRealDataXmlFile", {values, dir, files})) {
        return -1;
    }
    const bool compress = corvenna::IsCompressed(GetCSysSetInstance());
    const auto source = corvenna::SourceOf(*values, forwardChannel, GetCChannelSetInstance(),
                                           GetCForwardConfigInstance());
    const auto time = corvenna::BreakDown("CreateRealDataXmlFile", sampleTime);
    if (!time) {
        return -1;
    }
    corvenna::XmlTree tree(corvenna::DataFileNames());
    if (const auto missing =
            corvenna::BuildRealDataXml(source, corvenna::PrintSampleTime(*time).text, tree)) {
        log_Text(kLogInfo, "CreateRealDataXmlFile %s Error, can't find id: %08x",
                 corvenna::PrintFilePath(kKind, compress, dir, *time).text, *missing);
        return 0;
    }
    return corvenna::SaveXml({kKind, compress, dir, *time, files}, tree);
}

std::int32_t CPackFile::CreateAlarmDataJsonFile(Alarm_Data_Struct *alarms, char *dir,
                                                std::vector<std::string> *files) {
    if (corvenna::HasNull("CreateAlarmDataJsonFile", {alarms, dir, files})) {
        return -1;
    }
    const bool compress = corvenna::IsCompressed(GetCSysSetInstance());
    const auto known = corvenna::FindAlarmPoints(*alarms, *GetCChannelSetInstance());
    corvenna::JsonText text(corvenna::MeasureAlarmDataJson(known).Capacity());
    corvenna::SpellAlarmDataJson(known, text);
    // On purpose: the file is named after the moment of writing, not after any alarm.
    const auto time = corvenna::BreakDown("CreateAlarmDataJsonFile", std::time(nullptr));
    if (!time) {
        return -1;
    }
    return corvenna::SaveJson({DataKind::kAlarmJson, compress, dir, *time, files}, text,
                              {corvenna::kAlarmDataAssertionLine, __PRETTY_FUNCTION__});
}

std::int32_t CPackFile::CreateAlarmDataXmlFile(Alarm_Data_Struct *alarms, char *dir,
                                               std::vector<std::string> *files) {
    if (corvenna::HasNull("CreateAlarmDataXmlFile", {alarms, dir, files})) {
        return -1;
    }
    const bool compress = corvenna::IsCompressed(GetCSysSetInstance());
    const auto known = corvenna::FindAlarmPoints(*alarms, *GetCChannelSetInstance());
    corvenna::XmlTree tree(corvenna::DataFileNames());
    corvenna::BuildAlarmDataXml(known, tree);
    const auto time = corvenna::BreakDown("CreateAlarmDataXmlFile", std::time(nullptr));
    if (!time) {
        return -1;
    }
    return corvenna::SaveXml({DataKind::kAlarmXml, compress, dir, *time, files}, tree);
}

double CPackFile::GetPointValue(unsigned int dataId, Real_Data_Struct *values) {
    if (corvenna::HasNull("GetPointValue", {values})) {
        return corvenna::kMissingValue;
    }
    return corvenna::ValueOf(dataId, *values);
}

std::int32_t CreateRealDataFile(std::map<unsigned int, double> *values, char *dir,
                                std::vector<std::string> *files, std::time_t sampleTime) {
    const ST_CLOUDSERVER_CONFIG_ATTR &settings = *GetCSysSetInstance()->GetCloudConfigAttr();
    CPackFile &packFile = *GetCPackFileInstance();
    switch (corvenna::FormatOf(settings.filetype)) {
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
    const ST_CLOUDSERVER_CONFIG_ATTR &settings = *GetCSysSetInstance()->GetCloudConfigAttr();
    CPackFile &packFile = *GetCPackFileInstance();
    switch (corvenna::FormatOf(settings.filetype)) {
        case Format::kJson:
            return packFile.CreateAlarmDataJsonFile(alarms, dir, files);
        case Format::kXml:
            return packFile.CreateAlarmDataXmlFile(alarms, dir, files);
        case Format::kUnknown:
            break;
    }
    return -1;
}
