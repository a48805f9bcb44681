#pragma once

#include <ctime>
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
    std::string address = "Address";
    std::string owner = "Owner";
    std::string room = "Room 1";
    std::string longitude = "0.000";
    std::string latitude = "0.000";
};

/// The one forwarding channel of a generated configuration, which shows every point.
constexpr int kGeneratedForwardChannel = 1;

/// Where the plug-in looks for its configuration; the root folder goes before it.
constexpr const char *kConfigFolder = "/quorvane/Config";

/// A device's name as the name of its point file: letters, digits, "-" and "_".
std::string PointFileName(const Device &device);
/// Below the root folder.
std::string PointFilePath(const Device &device);

/// Whether there is a configuration below the root already.
bool HasConfiguration(const std::string &root);

/// Copies a configuration that is there to a folder beside it, which is named by the time.
/// @return the folder, empty when there was nothing to keep.
std::string KeepConfiguration(const std::string &root, std::time_t now);

/// Writes everything that the plug-in loads at its start into <root>/quorvane/Config, over what is
/// there. Throws std::runtime_error when something cannot be written, or when the plug-in could not
/// use it (see configuration_rules.h; two devices with one point file). sys.xml, which holds the
/// password, is its owner's alone.
void WriteConfiguration(const std::string &root, const ConfigurationOptions &options,
                        const Catalogue &devices);

}  // namespace corvenna::gateway
