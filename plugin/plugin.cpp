#include "plugin/plugin.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "config/channel_set.h"
#include "config/forward_config.h"
#include "config/sn_set.h"
#include "config/sys_set.h"
#include "log/log.h"
#include "plugin/entry_point.h"
#include "plugin/instances.h"

namespace {

/// Parses a file into the single instance of its service and lets go of the document at once.
template <auto GetInstance>
bool Load(const char *path) {
    auto *service = GetInstance();
    if (service->Open(path) != 0) {
        return false;
    }
    service->Close();
    return true;
}

struct ConfigurationFile {
    const char *path;
    bool (*load)(const char *path);
    const char *failure;
};

constexpr ConfigurationFile kConfigurationFiles[] = {
    {"/quorvane/Config/sys.xml", Load<GetCSysSetInstance>, "Parse sys.xml failed"},
    {"/quorvane/Config/system/sn.xml", Load<GetCsnSetInstance>, "Parse sn.xml failed"},
    // On purpose: the message spells the file's name with a hyphen.
    {"/quorvane/Config/forward_config.xml", Load<GetCForwardConfigInstance>,
     "Parse forward-config.xml failed"},
    {"/quorvane/Config/Channel-template.xml", Load<GetCChannelSetInstance>,
     "Parse Channel-template.xml failed"},
};

bool LoadConfiguration() {
    for (const ConfigurationFile &file : kConfigurationFiles) {
        if (!file.load(file.path)) {
            log_Text(kLogError, "%s", file.failure);
            return false;
        }
    }
    return true;
}

Interval_info Schedule(const ST_CLOUDSERVER_CONFIG_ATTR &settings) {
    Interval_info schedule;
    if (settings.checked != 0) {
        log_Text(kLogInfo, "Corvenna is Set on");
        schedule.RealDataInv = settings.RealDataInv;
        schedule.AlarmDataInv = settings.AlarmDataInv;
        schedule.HeartBeatInv = settings.HeartBeatInv;
        schedule.CheckFailInv = settings.CheckFailInv;
        schedule.RecallInv = settings.RecallInv;
    } else {
        log_Text(kLogInfo, "Corvenna is Set off ");
        std::memset(&schedule, 0xFF, sizeof schedule);  // every interval -1: never due
    }
    return schedule;
}

/// Ours: in a host without standard input, output or error the next file or connection would take
/// its place, and what is printed, by the host or by us, would go in there.
void TakeFreeStandardDescriptors() {
    int opened = 0;
    do {
        opened = open("/dev/null", O_RDWR);  // stays open, for children too
    } while (opened >= 0 && opened <= STDERR_FILENO);
    if (opened >= 0) {
        close(opened);
    }
}

int Start(Interval_info *info) {
    TakeFreeStandardDescriptors();
    log_init(0);
    if (info == nullptr) {
        log_Text(kLogError, "Interval_info pointer is null");
        return -1;
    }
    log_DB(kLogInfo, "Corvenna Start running");
    if (!LoadConfiguration()) {
        return -1;
    }
    const Interval_info schedule = Schedule(*GetCSysSetInstance()->GetCloudConfigAttr());
    // Byte by byte: the host's record may lie at any address, whatever its compiler made of the
    // type.
    std::memcpy(static_cast<void *>(info), &schedule, sizeof schedule);
    log_Text(kLogInfo,
             // clang-format off
             "realdata timeinv = %d,alarm timeinv = %d,heartbeat timeinv = %d,checkfail timeinv = %d,recall timeinv = %d",
             // clang-format on
             schedule.RealDataInv, schedule.AlarmDataInv, schedule.HeartBeatInv,
             schedule.CheckFailInv, schedule.RecallInv);
    pthread_mutex_init(&down_file_mutex, nullptr);
    return 0;
}

}  // namespace

int Init(Interval_info *info) {
    return corvenna::Guarded("Init", [&] { return Start(info); });
}
