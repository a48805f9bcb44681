#include "tools/gateway/plugin_library.h"

#include <dlfcn.h>

#include <stdexcept>

#include "config/sn_set.h"
#include "config/sys_set.h"
#include "tools/gateway/plugin_echo.h"

namespace corvenna::gateway {

namespace {

// CChannelSet::GetAttr(MAP_CHANNEL_POINT **) as the linker knows it.
constexpr const char *kGetPointTree =
    "_ZN11CChannelSet7GetAttrEPPSt3mapIhS0_IhS0_Ij15ST_POINTID_ATTRSt4lessIjESaISt4pairIKjS1_EEE"
    "S2_IhESaIS4_IKhS8_EEES9_SaIS4_ISA_SD_EEE";

// CChannelSet::GetAttr(MAP_DEV_ATTR **).
constexpr const char *kGetDevices =
    "_ZN11CChannelSet7GetAttrEPPSt3mapIt11ST_DEV_ATTRSt4lessItESaISt4pairIKtS1_EEE";

std::string ServerAddress(const ST_CLOUDSERVER_CONFIG_ATTR &cloud, bool https) {
    return std::string(https ? "https://" : "http://") + cloud.cloudip + ":" +
           std::to_string(cloud.port) + cloud.Dir;
}

/// The production calls tell by their list alone whether there is a file: a JSON document that was
/// abandoned reports 0 like one that was written, and XML reports a number of bytes.
template <class Call>
Production Produce(Call call) {
    const Listener listener;
    std::vector<std::string> files;
    call(files);
    return {files.empty() ? "" : files.front(), ReadNote(listener.Messages())};
}

template <class Call>
Exchange Ask(Call call) {
    const Listener listener;
    const bool succeeded = call() == 0;
    return ReadExchange(succeeded, listener.Messages());
}

}  // namespace

template <class Pointer>
void PluginLibrary::Resolve(Pointer &pointer, const char *name) {
    void *found = dlsym(library_, name);
    if (found == nullptr) {
        throw std::runtime_error(std::string("the plug-in has no ") + name);
    }
    pointer = reinterpret_cast<Pointer>(found);
}

PluginLibrary::PluginLibrary(const std::string &path)
    : library_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) {
        const char *reason = dlerror();
        throw std::runtime_error(std::string("cannot open the plug-in: ") +
                                 (reason == nullptr ? path : reason));
    }
    Resolve(init_, "Init");
    Resolve(logInit_, "log_init");
    Resolve(prePost_, "PrePost");
    Resolve(syncHeartBeat_, "SyncHeartBeat");
    Resolve(createRealDataFile_, "CreateRealDataFile");
    Resolve(createAlarmDataFile_, "CreateAlarmDataFile");
    Resolve(uploadRealDataFile_, "UploadRealDataFile");
    Resolve(uploadAlarmDataFile_, "UploadAlarmDataFile");
    Resolve(checkRecall_, "CheckRecall");
    Resolve(deleteRecall_, "DeleteRecall");
    Resolve(downFileMutex_, "down_file_mutex");
    Resolve(getSysSet_, "GetCSysSetInstance");
    Resolve(getSnSet_, "GetCsnSetInstance");
    Resolve(getChannelSet_, "GetCChannelSetInstance");
    Resolve(getPointTree_, kGetPointTree);
    Resolve(getDevices_, kGetDevices);
}

bool PluginLibrary::Init(Interval_info &intervals) {
    if (init_(&intervals) != 0) {
        return false;
    }
    logInit_(1);  // the echo
    return true;
}

Plugin::Settings PluginLibrary::GetSettings() {
    CSysSet &settings = *getSysSet_();
    const ST_CLOUDSERVER_CONFIG_ATTR &cloud = *settings.GetCloudConfigAttr();
    const bool https = settings.GetHttpsCertInfo()->checked != 0;
    return {getSnSet_()->GetSn(), ServerAddress(cloud, https), cloud.filetype, cloud.TcpChannel};
}

MAP_CHANNEL_POINT PluginLibrary::ConfiguredPoints() {
    MAP_CHANNEL_POINT *points = nullptr;
    getPointTree_(getChannelSet_(), &points);
    return points == nullptr ? MAP_CHANNEL_POINT() : *points;
}

MAP_DEV_ATTR PluginLibrary::ConfiguredDevices() {
    MAP_DEV_ATTR *devices = nullptr;
    getDevices_(getChannelSet_(), &devices);
    return devices == nullptr ? MAP_DEV_ATTR() : *devices;
}

Exchange PluginLibrary::PrePost() {
    return Ask([this] { return prePost_(); });
}

void PluginLibrary::SyncHeartBeat() {
    syncHeartBeat_();
}

Production PluginLibrary::CreateRealDataFile(Values &values, std::string folder, std::time_t time) {
    return Produce([&](auto &files) { createRealDataFile_(&values, folder.data(), &files, time); });
}

Production PluginLibrary::CreateAlarmDataFile(std::vector<Alarm_Data_Para> &alarms,
                                              std::string folder) {
    return Produce([&](auto &files) { createAlarmDataFile_(&alarms, folder.data(), &files); });
}

Exchange PluginLibrary::UploadRealDataFile(std::string path) {
    return Ask([&] { return uploadRealDataFile_(path.data()); });
}

Exchange PluginLibrary::UploadAlarmDataFile(const std::string &path) {
    return Ask([&] { return uploadAlarmDataFile_(path.c_str()); });
}

Exchange PluginLibrary::CheckRecall(std::vector<recall_time_para> &ranges) {
    return Ask([&] { return checkRecall_(&ranges); });
}

Exchange PluginLibrary::DeleteRecall(recall_time_para range) {
    return Ask([&] { return deleteRecall_(&range); });
}

bool PluginLibrary::IsDownloading() {
    if (pthread_mutex_trylock(downFileMutex_) != 0) {
        return true;
    }
    pthread_mutex_unlock(downFileMutex_);
    return false;
}

}  // namespace corvenna::gateway
