#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/check/finding.h"
#include "tools/check/xml_file.h"

namespace corvenna::check {

/// The configuration as the plug-in takes it, each part with its place.

struct SettingsEntry {
    Place place;  ///< of the last <cloud>
    std::string server = "127.0.0.1";
    std::uint16_t port = 80;
    bool isOn = false;
    std::string prefix;
    std::string format = "json";
    bool compress = false;
    std::uint8_t forwardChannel = 0;
    bool secure = false;
    Place securePlace;
    std::string certificate;
    std::map<std::string, Place> attributes;  ///< where those of <cloud> stand

    /// Where an attribute of <cloud> stands; the element when it is left out.
    Place At(const std::string &attribute) const;
    bool IsJson() const { return format.rfind("json", 0) == 0; }
    bool IsXml() const { return format.rfind("xml", 0) == 0; }
};

struct IdentityEntry {
    std::optional<std::string> model;
    Place modelPlace;
    std::string serial;
    Place serialPlace;
};

/// The name by which servers know a device: its point file's path, cut by counting.
std::string SentName(const std::string &pointFile);

struct DeviceEntry {
    Place place;
    std::uint8_t channel = 0;
    std::uint8_t address = 0;
    std::string displayName;
    std::string pointFile;
    std::string description;

    bool IsHidden() const { return channel == 193; }     ///< neither written nor announced
    bool HasNoStatus() const { return channel == 192; }  ///< points of the gateway itself
    std::string SentName() const { return check::SentName(pointFile); }
    /// "device 'Pump' (2-1)"
    std::string Called() const;
};

struct PointEntry {
    Place place;
    std::uint32_t id = 0;
    bool hasOwnId = true;  ///< not that of the node before
    std::string name;
    std::string unit;
};

struct ForwardEntry {
    Place place;
    std::uint8_t address = 0;  ///< of the forwarding channel
    std::string name;
    std::uint32_t id = 0;
    bool fits = true;  ///< false: more than 32 bits, of which processors make different ids
};

/// All of it. A device and its points stand at the same place of their lists.
struct Plant {
    std::string root;
    std::optional<SettingsEntry> settings;
    std::optional<IdentityEntry> identity;
    std::vector<DeviceEntry> devices;
    std::vector<std::vector<PointEntry>> points;
    std::vector<ForwardEntry> forwarding;
};

/// Null where there is no <cloud>.
std::optional<SettingsEntry> ReadSettings(const XmlFile &file);
IdentityEntry ReadIdentity(const XmlFile &file);
std::vector<DeviceEntry> ReadDevices(const XmlFile &file);
std::vector<PointEntry> ReadPoints(const XmlFile &file, const DeviceEntry &device);
std::vector<ForwardEntry> ReadForwarding(const XmlFile &file);

/// "02010001"
std::string Hexadecimal(std::uint32_t id);

}  // namespace corvenna::check
