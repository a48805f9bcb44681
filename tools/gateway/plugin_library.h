#pragma once

#include <string>

#include "log/log.h"
#include "plugin/instances.h"
#include "tools/gateway/plugin.h"

namespace corvenna::gateway {

/// The plug-in as a shared library, opened at run time and known by its exported names only. It
/// stays loaded until the process ends. Why something failed is learnt through a PluginEcho, where
/// there is one.
class PluginLibrary : public Plugin {
public:
    /// Throws std::runtime_error when the library cannot be opened or lacks a name.
    explicit PluginLibrary(const std::string &path);

    bool Init(Interval_info &intervals) override;
    Settings GetSettings() override;
    MAP_CHANNEL_POINT ConfiguredPoints() override;
    MAP_DEV_ATTR ConfiguredDevices() override;
    Exchange PrePost() override;
    void SyncHeartBeat() override;
    Production CreateRealDataFile(Values &values, std::string folder, std::time_t time) override;
    Production CreateAlarmDataFile(std::vector<Alarm_Data_Para> &alarms,
                                   std::string folder) override;
    Exchange UploadRealDataFile(std::string path) override;
    Exchange UploadAlarmDataFile(const std::string &path) override;
    Exchange CheckRecall(std::vector<recall_time_para> &ranges) override;
    Exchange DeleteRecall(recall_time_para range) override;
    bool IsDownloading() override;

private:
    template <class Pointer>
    void Resolve(Pointer &pointer, const char *name);

    void *library_;
    decltype(&::Init) init_;
    decltype(&::log_init) logInit_;
    decltype(&::PrePost) prePost_;
    decltype(&::SyncHeartBeat) syncHeartBeat_;
    decltype(&::CreateRealDataFile) createRealDataFile_;
    decltype(&::CreateAlarmDataFile) createAlarmDataFile_;
    decltype(&::UploadRealDataFile) uploadRealDataFile_;
    decltype(&::UploadAlarmDataFile) uploadAlarmDataFile_;
    decltype(&::CheckRecall) checkRecall_;
    decltype(&::DeleteRecall) deleteRecall_;
    decltype(&::down_file_mutex) downFileMutex_;
    decltype(&::GetCSysSetInstance) getSysSet_;
    decltype(&::GetCsnSetInstance) getSnSet_;
    decltype(&::GetCChannelSetInstance) getChannelSet_;
    // CChannelSet::GetAttr for the tree of points and for the devices, the object as its first
    // argument.
    void (*getPointTree_)(CChannelSet *, MAP_CHANNEL_POINT **);
    void (*getDevices_)(CChannelSet *, MAP_DEV_ATTR **);
};

}  // namespace corvenna::gateway
