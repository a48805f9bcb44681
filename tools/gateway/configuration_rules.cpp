#include "tools/gateway/configuration_rules.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tools/check/sizes.h"
#include "tools/gateway/device_list.h"

namespace corvenna::gateway {

namespace {

constexpr std::size_t kLongestSerial = 18;
constexpr std::size_t kLongestAddress = 62;  // of the server, its prefix, user and password
constexpr std::size_t kLongestName = 126;    // of devices, points and what describes them
constexpr std::size_t kLongestText = 255;    // of the gateway's description
constexpr std::size_t kLongestUrl = 126;

constexpr const char *kModels[] = {"Varek-A",   "Varek-A-G", "Varek-B",
                                   "Varek-B-G", "Mosso",     "Mosso-G"};

void Require(bool good, const std::string &rule) {
    if (!good) {
        throw std::runtime_error(rule);
    }
}

/// Letters, digits and what else goes through a URL as it stands.
bool IsPlain(const std::string &text, const std::string &others) {
    return std::all_of(text.begin(), text.end(), [&others](unsigned char letter) {
        return (letter < 0x80 && std::isalnum(letter) != 0) ||
               others.find(static_cast<char>(letter)) != std::string::npos;
    });
}

void CheckServer(const ConfigurationOptions &options) {
    const std::string &server = options.server;
    const std::string &prefix = options.prefix;
    const std::string &serial = options.serial;
    Require(!serial.empty() && serial.size() <= kLongestSerial && IsPlain(serial, "-._~"),
            "a serial number has 1 to 18 letters, digits, \"-\", \".\", \"_\" and \"~\"");
    Require(serial != "." && serial != "..",
            "the serial number \"" + serial + "\" is a step in a path: no URL ends in it");
    Require(!server.empty() && server.size() <= kLongestAddress && IsPlain(server, "-._:[]"),
            "the server is a name or an address of 1 to 62 characters, without scheme and port");
    Require(prefix.empty() || (prefix.front() == '/' && prefix.back() != '/' &&
                               prefix.size() <= kLongestAddress && IsPlain(prefix, "-._~/")),
            "the prefix is empty, or begins with \"/\", does not end with it and has at most 62 "
            "characters");
    const std::string url =
        "https://" + server + ":" + std::to_string(options.port) + prefix + "/alarmdata/" + serial;
    Require(url.size() <= kLongestUrl,
            "server, prefix and serial number make a URL longer than 126 characters");
    Require(options.certificate.size() <= kLongestName,
            "the certificate's path has at most 126 characters");
    Require(options.user.size() <= kLongestAddress && options.password.size() <= kLongestAddress,
            "user and password have at most 62 characters");
}

struct IntervalRule {
    const char *option;
    int ConfigurationOptions::*value;
    int least;
    int insteadOfLess;  ///< what the plug-in makes of it
};

constexpr IntervalRule kIntervals[] = {
    {"--real-data", &ConfigurationOptions::realDataInterval, 60, 300},
    {"--alarm-data", &ConfigurationOptions::alarmInterval, 30, 30},
    {"--heartbeat", &ConfigurationOptions::heartbeatInterval, 60, 60},
    {"--check-fail", &ConfigurationOptions::checkFailInterval, 30, 30},
    {"--recall", &ConfigurationOptions::recallInterval, 60, 60}};

void CheckIntervals(const ConfigurationOptions &options) {
    for (const IntervalRule &rule : kIntervals) {
        const int value = options.*rule.value;
        Require(value == -1 || value >= rule.least,
                std::string(rule.option) + " " + std::to_string(value) + ": at least " +
                    std::to_string(rule.least) +
                    " seconds, or -1 for never (the plug-in would take " +
                    (value == 0 && rule.insteadOfLess == rule.least
                         ? std::string("it for never")
                         : std::to_string(rule.insteadOfLess) + " seconds") +
                    ")");
    }
}

void CheckTexts(const ConfigurationOptions &options) {
    for (const std::string *text :
         {&options.name, &options.station, &options.address, &options.owner, &options.room,
          &options.longitude, &options.latitude}) {
        Require(text->size() <= kLongestText,
                "name, station, address, owner, room and position have at most 255 characters");
    }
    Require(std::find(std::begin(kModels), std::end(kModels), options.model) != std::end(kModels),
            "the model \"" + options.model +
                "\" is unknown to the plug-in, which would take it for another; there are Varek-A, "
                "Varek-A-G, Varek-B, Varek-B-G, Mosso and Mosso-G");
}

bool Fits(const std::string &text) {
    return text.size() <= kLongestName;
}

}  // namespace

void CheckOptions(const ConfigurationOptions &options) {
    CheckServer(options);
    CheckIntervals(options);
    CheckTexts(options);
}

void CheckDevices(const ConfigurationOptions &options, const Catalogue &devices) {
    for (const Device &device : devices) {
        const std::string path = PointFilePath(device);
        Require(Fits(path) && Fits(device.description) && Fits(device.protocol),
                "device '" + device.name + "': the plug-in keeps 126 characters of the path " +
                    path + ", and of a description");
        for (const Point &point : device.points) {
            Require(Fits(point.name) && Fits(point.unit),
                    "point '" + device.name + "/" + point.name +
                        "': the plug-in keeps 126 characters of a name and of a unit");
        }
    }
    const std::size_t bytes = DeviceListBytes(devices, options.format, options.compress);
    const std::size_t most = check::MostDeviceListBytes(options.compress);
    Require(bytes <= most, std::to_string(devices.size()) +
                               " devices are too many: the list of them has " +
                               std::to_string(bytes) + " bytes, and the plug-in sends at most " +
                               std::to_string(most) + ", so it could never register" +
                               (options.compress ? "" : "; --compress makes it shorter"));
}

void CheckCertificate(const ConfigurationOptions &options, const std::string &root) {
    if (options.certificate.empty()) {
        return;
    }
    for (const std::string &path : {options.certificate, root + options.certificate}) {
        std::ifstream stream(path);
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        if (text.find("-----BEGIN ") != std::string::npos) {
            return;
        }
    }
    throw std::runtime_error("the certificate " + options.certificate +
                             " cannot be read, or is no PEM file");
}

std::vector<std::string> Warnings(const ConfigurationOptions &options) {
    std::vector<std::string> warnings;
    const auto isOneOf = [&options](int one, int other) {
        return options.port == one || options.port == other;
    };
    if (options.https && isOneOf(80, 8080)) {
        warnings.push_back("HTTPS to port " + std::to_string(options.port) +
                           ", where servers speak HTTP as a rule; the reference cloud speaks HTTPS "
                           "at 8443");
    }
    if (!options.https && isOneOf(443, 8443)) {
        warnings.push_back("HTTP to port " + std::to_string(options.port) +
                           ", where servers speak HTTPS as a rule; is --https missing?");
    }
    if (!options.https && !(options.user.empty() && options.password.empty())) {
        warnings.push_back("user and password are sent with HTTPS only");
    }
    return warnings;
}

}  // namespace corvenna::gateway
