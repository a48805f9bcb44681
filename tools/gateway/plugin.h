#pragma once

#include <string>
#include <vector>

#include "plugin/plugin.h"
#include "tools/gateway/catalogue.h"
#include "tools/gateway/exchange.h"

namespace corvenna::gateway {

/// What the host asks the plug-in to do. Beside the results of the entry points it tells why
/// something failed. Calls may come from several threads, but only one at a time may check recalls.
class Plugin {
public:
    virtual ~Plugin() = default;

    /// The settings that a host has to know, as the plug-in has loaded them.
    struct Settings {
        std::string serial;
        std::string address;             ///< of the server, as in a URL: "https://host:port/prefix"
        std::string format;              ///< the word that a file's path must hold to be sent
        int forwardChannel = 0;          ///< whose table is sent; 0: every point under its own name
        std::size_t devices = 0;         ///< of which the server is told
        std::size_t pausedChannels = 0;  ///< at which production pauses
    };

    /// Loads the configuration. @return whether the plug-in can be used; the others may be called
    /// only then.
    virtual bool Init(Interval_info &intervals) = 0;
    virtual Settings GetSettings() = 0;
    /// The points of which every sample must have a value.
    virtual MAP_CHANNEL_POINT ConfiguredPoints() = 0;
    virtual MAP_DEV_ATTR ConfiguredDevices() = 0;

    virtual Exchange PrePost() = 0;
    virtual void SyncHeartBeat() = 0;
    virtual Production CreateRealDataFile(Values &values, std::string folder, std::time_t time) = 0;
    virtual Production CreateAlarmDataFile(std::vector<Alarm_Data_Para> &alarms,
                                           std::string folder) = 0;
    virtual Exchange UploadRealDataFile(std::string path) = 0;
    virtual Exchange UploadAlarmDataFile(const std::string &path) = 0;
    virtual Exchange CheckRecall(std::vector<recall_time_para> &ranges) = 0;
    virtual Exchange DeleteRecall(recall_time_para range) = 0;
    /// Whether files that the server offers are being fetched right now.
    virtual bool IsDownloading() = 0;
};

}  // namespace corvenna::gateway
