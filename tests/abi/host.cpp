// A host that is built against the headers that were kept and runs with the library of today. It
// calls what is exported, through functions and through objects, and reads every record in place.
//
//     host FOLDER      with a configuration of one device or more in place; nobody serves its cloud
#include <config/channel_set.h>
#include <config/forward_config.h>
#include <config/instances.h>
#include <config/sn_set.h>
#include <config/sys_set.h>
#include <http/http.h>
#include <http/https.h>
#include <log/log.h>
#include <message/pack_memory.h>
#include <message/parse_memory.h>
#include <packfile/packfile.h>
#include <plugin/instances.h>
#include <plugin/plugin.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

int failures = 0;

void Expect(bool holds, const char *what) {
    if (!holds) {
        std::printf("does not hold: %s\n", what);
        ++failures;
    }
}

std::string ContentOf(const std::string &path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void ReadSettings(const Interval_info &intervals) {
    const ST_CLOUDSERVER_CONFIG_ATTR *cloud = GetCSysSetInstance()->GetCloudConfigAttr();
    Expect(cloud->checked == 1, "the service is on");
    Expect(std::strcmp(cloud->cloudip, "127.0.0.1") == 0, "the server's address");
    Expect(std::strcmp(cloud->filetype, "json") == 0, "the file type");
    Expect(intervals.RealDataInv == cloud->RealDataInv, "the interval of real data");
    Expect(intervals.RecallInv == cloud->RecallInv, "the interval of recalls");
    Expect(GetCSysSetInstance()->GetGateWayAttr()->gateWayName[0] != '\0', "the gateway's name");
    Expect(GetCSysSetInstance()->GetHttpsCertInfo()->checked == 0, "no HTTPS");
    Expect(GetCsnSetInstance()->GetSn()[0] != '\0', "the serial number");
    Expect(CsnSet::ModelToDigit("Varek-A") == GetCsnSetInstance()->ModelToDigit("Varek-A"),
           "models");
    Expect(GetCForwardConfigInstance()->GetForwardMap().empty(), "no forwarding table");
}

Real_Data_Struct ValuesOfAllPoints() {
    MAP_POINTID_ATTR *points = nullptr;
    MAP_DEV_ATTR *devices = nullptr;
    GetCChannelSetInstance()->GetAttr(&points);
    GetCChannelSetInstance()->GetAttr(&devices);
    Expect(points != nullptr && !points->empty(), "points");
    Expect(devices != nullptr && !devices->empty(), "devices");
    Real_Data_Struct values;
    for (const auto &[id, point] : *points) {
        Expect(point.db_link == id && point.Name[0] != '\0', "a point knows its data id and name");
        values[id] = 1.5;
    }
    for (const auto &[number, device] : *devices) {
        Expect(number == (device.ChannelNo << 8 | device.SlaveId), "a device knows its number");
        values[static_cast<std::uint32_t>(number) << 16 | 0x0100] = 1;
    }
    return values;
}

void WriteFiles(std::string folder) {
    Real_Data_Struct values = ValuesOfAllPoints();
    std::vector<std::string> files;
    Expect(CreateRealDataFile(&values, folder.data(), &files, 1709622489) == 0, "real data");
    Expect(GetCPackFileInstance()->GetPointValue(values.begin()->first, &values) == 1.5, "a value");
    std::vector<Alarm_Data_Para> alarms{{1709622489, values.begin()->first, 1, 2, 1, 1}};
    Expect(CreateAlarmDataFile(&alarms, folder.data(), &files) == 0, "alarms");
    Expect(files.size() == 2, "two files");
    for (const std::string &file : files) {
        Expect(!ContentOf(file).empty(), "a file that is not empty");
    }
    if (files.size() == 2) {
        Expect(UploadRealDataFile(files[0].data()) == -1, "nobody takes real data");
        Expect(UploadAlarmDataFile(files[1].c_str()) == -1, "nobody takes alarms");
    }
}

void MakeAndReadMessages() {
    char body[2048] = "";
    recall_time_para range{1, 2};
    Expect(GetCPackMemoryInstance()->CreateDelReCallMemory("json", body, sizeof body, &range) > 0,
           "a body");
    Expect(std::strchr(body, '{') != nullptr, "a body of JSON");
    std::vector<recall_time_para> ranges;
    GetCParseMemoryInstance()->ParseRecallTimeFromMemory("json", "", 0, &ranges);
    Expect(ranges.empty(), "nothing in an empty answer");
    Expect(CParseMemory::TimeString2Timet("2024-03-05 07:08:09") > 0, "a time");
}

void AskTheCloud() {
    ST_FRAME_MEMORY_UPLOAD frame{};
    std::snprintf(frame.url, sizeof frame.url, "http://127.0.0.1:9/");
    std::snprintf(frame.method, sizeof frame.method, "GET");
    std::snprintf(frame.format, sizeof frame.format, "json");
    Expect(GetCHttpInstance()->GET_MemoryData(&frame) == -1, "nobody answers HTTP");
    Expect(GetCHttpsInstance()->GET_MemoryData(&frame) == -1, "nobody answers by the other client");
    Expect(GetCHttpInstance()->GetRecvResult()[0] == '\0', "nothing was received");
    std::vector<recall_time_para> ranges;
    Expect(PrePost() == -1 && CheckRecall(&ranges) == -1 && ranges.empty(), "nobody is there");
    recall_time_para range{1, 2};
    Expect(DeleteRecall(&range) == -1 && SyncHeartBeat() == 0, "nobody is told");
    Expect(gPRecalltime == &ranges && gPDownFile == nullptr, "the exported lists");
    Expect(pthread_mutex_trylock(&down_file_mutex) == 0, "no download is running");
    Expect(pthread_mutex_unlock(&down_file_mutex) == 0, "the exported mutex");
}

}  // namespace

int main(int, char **arguments) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    Interval_info intervals{};
    Expect(Init(&intervals) == 0, "the configuration is loaded");
    ReadSettings(intervals);
    WriteFiles(arguments[1]);
    MakeAndReadMessages();
    AskTheCloud();
    Expect(log_Text(kLogInfo, "%s", "of the host") == 1, "a message");
    Expect(std::strcmp(LogLevelToString(kLogError), "ERROR") == 0, "the name of a level");
    return failures == 0 ? 0 : 1;
}
