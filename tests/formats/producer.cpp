// A host that has the plug-in make and send one of everything, for the tests that look at the
// result from outside.
//
//     formats_producer files FOLDER TIME < VALUES      data files into the folder, their paths out
//     formats_producer exchanges REALDATA ALARMDATA    every exchange with the configured cloud
//
// A line of VALUES is "real ID VALUE" or "alarm TIME ID THRESHOLD VALUE TYPE FLAG", ids in
// hexadecimal, times in seconds of the Unix epoch.

#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "plugin/plugin.h"

/// The plug-in's pauses are not what is looked at.
extern "C" int __wrap_usleep(useconds_t) {
    return 0;
}

namespace {

struct Values {
    std::map<unsigned int, double> real;
    std::vector<Alarm_Data_Para> alarms;
};

Values ReadValues(std::istream &stream) {
    Values values;
    for (std::string kind; stream >> kind;) {
        std::uint32_t id = 0;
        if (kind == "real") {
            double value = 0;
            stream >> std::hex >> id >> std::dec >> value;
            values.real[id] = value;
        } else if (kind == "alarm") {
            Alarm_Data_Para alarm{};
            stream >> alarm.alarmTime >> std::hex >> alarm.dataId >> std::dec >>
                alarm.thresholdValue >> alarm.alarmValue >> alarm.alarmType >> alarm.alarmFlag;
            values.alarms.push_back(alarm);
        } else {
            throw std::runtime_error("no kind of value: " + kind);
        }
        if (!stream) {
            throw std::runtime_error("a line of values is not whole");
        }
    }
    return values;
}

int ProduceFiles(std::string folder, const char *time) {
    Values values = ReadValues(std::cin);
    std::vector<std::string> files;
    const int real = CreateRealDataFile(&values.real, folder.data(), &files,
                                        static_cast<std::time_t>(std::strtoll(time, nullptr, 10)));
    const int alarm = CreateAlarmDataFile(&values.alarms, folder.data(), &files);
    for (const std::string &file : files) {
        std::cout << file << '\n';
    }
    return real >= 0 && alarm >= 0 && files.size() == 2 ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// The thread's exchanges come one after the other, none beside ours.
void WaitForDownload() {
    pthread_mutex_lock(&down_file_mutex);
    pthread_mutex_unlock(&down_file_mutex);
}

int Exchange(std::string realData, const char *alarmData) {
    bool good = PrePost() == 0;
    good = UploadRealDataFile(realData.data()) == 0 && good;
    WaitForDownload();
    good = UploadAlarmDataFile(alarmData) == 0 && good;
    std::vector<recall_time_para> ranges;
    good = CheckRecall(&ranges) == 0 && good;
    for (recall_time_para &range : ranges) {
        good = DeleteRecall(&range) == 0 && good;
    }
    return good ? EXIT_SUCCESS : EXIT_FAILURE;
}

int Run(const std::vector<std::string> &words) {
    Interval_info intervals{};
    if (Init(&intervals) != 0) {
        throw std::runtime_error("the configuration does not load");
    }
    if (words.size() == 3 && words[0] == "files") {
        return ProduceFiles(words[1], words[2].c_str());
    }
    if (words.size() == 3 && words[0] == "exchanges") {
        return Exchange(words[1], words[2].c_str());
    }
    throw std::runtime_error("files FOLDER TIME, or exchanges REALDATA ALARMDATA");
}

}  // namespace

int main(int count, char **words) try {
    return Run({words + 1, words + count});
} catch (const std::exception &error) {
    static_cast<void>(std::fprintf(stderr, "formats_producer: %s\n", error.what()));
    return 2;
}
