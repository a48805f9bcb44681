#pragma once

#include <string>

#include "tools/gateway/catalogue.h"

namespace corvenna::gateway {

/// What a generated configuration says beside the devices. Intervals are in seconds; -1 is never.
struct ConfigurationOptions {
    std::string server = "127.0.0.1";
    int port = 8080;
    std::string prefix;  ///< of the server's paths: empty, or with a leading "/"
    std::string format = "json";
    bool compress = false;
    int realDataInterval = 60;
    int alarmInterval = 30;
    int heartbeatInterval = 60;
    int checkFailInterval = 30;
    int recallInterval = 60;
    int forwardChannel = 0;  ///< forwarding channel whose names are sent; 0: all points
    bool https = false;
    std::string certificate;
    std::string user;
    std::string password;
    std::string model = "Varek-A";
    std::string serial = "GW000001";
    std::string version = "1.0.0";
    std::string name = "Corvenna gateway";
    std::string station = "Corvenna station";
};

/// The one forwarding channel of a generated configuration, which shows every point.
constexpr int kGeneratedForwardChannel = 1;

/// Where the plug-in looks for its configuration; the root folder goes before it.
constexpr const char *kConfigFolder = "/quorvane/Config";

/// A device's name as the name of its point file: letters, digits, "-" and "_".
std::string PointFileName(const Device &device);

/// Writes everything that the plug-in loads at its start into <root>/quorvane/Config, over what is
/// there. Throws std::runtime_error when something cannot be written, or when the plug-in could not
/// hold it (texts that it would cut or that no URL or XML file takes, two devices with one point
/// file).
void WriteConfiguration(const std::string &root, const ConfigurationOptions &options,
                        const Catalogue &devices);

}  // namespace corvenna::gateway
