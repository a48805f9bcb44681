#include "packfile/packfile.h"

#include <algorithm>
#include <initializer_list>
#include <new>
#include <optional>

#include "base/json_text.h"
#include "base/local_time.h"
#include "base/text.h"
#include "config/channel_set.h"
#include "config/forward_config.h"
#include "config/instances.h"
#include "config/sys_set.h"
#include "log/log.h"
#include "packfile/alarm_data.h"
#include "packfile/file_name.h"
#include "packfile/output.h"
#include "packfile/real_data_json.h"
#include "packfile/real_data_walk.h"
#include "packfile/real_data_xml.h"
#include "packfile/xml_lines.h"

namespace corvenna {
namespace {

// On purpose: where the process stops when an uncompressed JSON file cannot be opened. Whoever
// reads the assertion's message knows the places by these lines, which are not those of this file.
constexpr unsigned kRealDataAssertionLine = 645;
constexpr unsigned kAlarmDataAssertionLine = 839;

/// Ours: a null argument is said and refused.
bool HasNull(const char *operation, std::initializer_list<const void *> arguments) {
    const bool hasNull = std::count(arguments.begin(), arguments.end(), nullptr) != 0;
    if (hasNull) {
        log_Text(kLogError, "%s: null argument", operation);
    }
    return hasNull;
}

/// Ours: a writer that finds no memory says so and fails as a whole.
template <class Write>
std::int32_t Checked(const char *writer, std::initializer_list<const void *> arguments,
                     Write write) {
    if (HasNull(writer, arguments)) {
        return -1;
    }
    try {
        return write();
    } catch (const std::bad_alloc &) {
        log_Text(kLogError, "%s: out of memory", writer);
        return -1;
    }
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

using namespace corvenna;

std::int32_t CPackFile::CreateRealDataJsonFile(Real_Data_Struct *values, char *dir,
                                               std::vector<std::string> *files,
                                               std::time_t sampleTime,
                                               std::uint8_t forwardChannel) {
    constexpr auto kKind = DataKind::kRealJson;
    constexpr char kWriter[] = "CreateRealDataJsonFile";
    const OpenAssertion assertion{kRealDataAssertionLine, __PRETTY_FUNCTION__};
    return Checked(kWriter, {values, dir, files}, [&] {
        const bool compress = IsCompressed(GetCSysSetInstance());
        const auto source = SourceOf(*values, forwardChannel, GetCChannelSetInstance(),
                                     GetCForwardConfigInstance());
        const auto time = BreakDown(kWriter, sampleTime);
        if (!time) {
            return -1;
        }
        JsonText text;
        if (const auto missing = SpellRealDataJson(source, PrintSampleTime(*time).text, text)) {
            log_Text(kLogInfo, "CreateRealDataJsonFile %s Error, can't find id: %08x",
                     PrintFilePath(kKind, compress, dir, *time).text, *missing);
            return 0;
        }
        return SaveJson({kKind, compress, dir, *time, files}, text.Text(), assertion);
    });
}

std::int32_t CPackFile::CreateRealDataXmlFile(Real_Data_Struct *values, char *dir,
                                              std::vector<std::string> *files,
                                              std::time_t sampleTime, std::uint8_t forwardChannel) {
    constexpr auto kKind = DataKind::kRealXml;
    constexpr char kWriter[] = "CreateRealDataXmlFile";
    return Checked(kWriter, {values, dir, files}, [&] {
        const bool compress = IsCompressed(GetCSysSetInstance());
        const auto source = SourceOf(*values, forwardChannel, GetCChannelSetInstance(),
                                     GetCForwardConfigInstance());
        const auto time = BreakDown(kWriter, sampleTime);
        if (!time) {
            return -1;
        }
        XmlLines lines;
        if (const auto missing = SpellRealDataXml(source, PrintSampleTime(*time).text, lines)) {
            log_Text(kLogInfo, "CreateRealDataXmlFile %s Error, can't find id: %08x",
                     PrintFilePath(kKind, compress, dir, *time).text, *missing);
            return 0;
        }
        return SaveXml({kKind, compress, dir, *time, files}, lines.Text());
    });
}

std::int32_t CPackFile::CreateAlarmDataJsonFile(Alarm_Data_Struct *alarms, char *dir,
                                                std::vector<std::string> *files) {
    constexpr char kWriter[] = "CreateAlarmDataJsonFile";
    const OpenAssertion assertion{kAlarmDataAssertionLine, __PRETTY_FUNCTION__};
    return Checked(kWriter, {alarms, dir, files}, [&] {
        const bool compress = IsCompressed(GetCSysSetInstance());
        JsonText text;
        SpellAlarmDataJson(FindAlarmPoints(*alarms, *GetCChannelSetInstance()), text);
        // On purpose: the file is named after the moment of writing, not after any alarm.
        const auto time = BreakDown(kWriter, std::time(nullptr));
        if (!time) {
            return -1;
        }
        return SaveJson({DataKind::kAlarmJson, compress, dir, *time, files}, text.Text(),
                        assertion);
    });
}

std::int32_t CPackFile::CreateAlarmDataXmlFile(Alarm_Data_Struct *alarms, char *dir,
                                               std::vector<std::string> *files) {
    constexpr char kWriter[] = "CreateAlarmDataXmlFile";
    return Checked(kWriter, {alarms, dir, files}, [&] {
        const bool compress = IsCompressed(GetCSysSetInstance());
        XmlLines lines;
        SpellAlarmDataXml(FindAlarmPoints(*alarms, *GetCChannelSetInstance()), lines);
        const auto time = BreakDown(kWriter, std::time(nullptr));
        if (!time) {
            return -1;
        }
        return SaveXml({DataKind::kAlarmXml, compress, dir, *time, files}, lines.Text());
    });
}

double CPackFile::GetPointValue(unsigned int dataId, Real_Data_Struct *values) {
    if (HasNull("GetPointValue", {values})) {
        return kMissingValue;
    }
    return ValueOf(dataId, *values);
}
