#include "containers.h"

#include <plugin/plugin.h>

#include <algorithm>
#include <new>

namespace {

int CopyPath(const std::vector<std::string> &files, char *path, std::size_t capacity) {
    const std::string file = files.empty() ? std::string() : files.back();
    if (file.size() >= capacity) {
        return -1;
    }
    path[file.copy(path, file.size())] = '\0';
    return 0;
}

/// No exception leaves for C.
template <class Call>
int WithoutThrowing(Call call) {
    try {
        return call();
    } catch (const std::bad_alloc &) {
        return -1;
    }
}

}  // namespace

int create_real_data_file(void *entry, const point_value *values, std::size_t count,
                          const char *folder, std::time_t time, char *path, std::size_t capacity) {
    return WithoutThrowing([&] {
        Real_Data_Struct map;
        std::for_each(values, values + count,
                      [&](const point_value &one) { map[one.id] = one.value; });
        std::string directory = folder;
        std::vector<std::string> files;
        const auto create = reinterpret_cast<decltype(&CreateRealDataFile)>(entry);
        const int result = create(&map, directory.data(), &files, time);
        return result < 0 ? -1 : CopyPath(files, path, capacity);
    });
}

int create_alarm_data_file(void *entry, const alarm_event *alarms, std::size_t count,
                           const char *folder, char *path, std::size_t capacity) {
    return WithoutThrowing([&] {
        Alarm_Data_Struct list;
        std::for_each(alarms, alarms + count, [&](const alarm_event &one) {
            list.push_back({one.time, one.id, one.threshold, one.value, one.type, one.flag});
        });
        std::string directory = folder;
        std::vector<std::string> files;
        const auto create = reinterpret_cast<decltype(&CreateAlarmDataFile)>(entry);
        const int result = create(&list, directory.data(), &files);
        return result < 0 ? -1 : CopyPath(files, path, capacity);
    });
}

int check_recall(void *entry, time_range *ranges, std::size_t capacity) {
    return WithoutThrowing([&] {
        std::vector<recall_time_para> list;
        const auto check = reinterpret_cast<decltype(&CheckRecall)>(entry);
        if (check(&list) != 0) {
            return -1;
        }
        for (std::size_t i = 0; i < std::min(capacity, list.size()); ++i) {
            ranges[i] = {list[i].start, list[i].end};
        }
        return static_cast<int>(list.size());
    });
}
