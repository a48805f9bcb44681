#include "tools/check/plant.h"

#include <cstdio>
#include <cstdlib>

#include "config/data_id.h"
#include "message/devices_body.h"
#include "tools/check/value_rules.h"
#include "tools/check/vocabulary.h"

namespace corvenna::check {

namespace {

/// Leaves the text alone where the attribute is not there.
void ReadText(const xmlNode *element, const char *name, long limit, std::string &text) {
    if (const auto value = AttributeOf(element, name)) {
        text = value->substr(0, static_cast<std::size_t>(limit));
    }
}

template <class Number>
void ReadNumber(const xmlNode *element, const char *name, Number &number) {
    if (const auto value = AttributeOf(element, name)) {
        number = static_cast<Number>(Decimal(*value));
    }
}

void ReadFlag(const xmlNode *element, const char *name, bool &flag) {
    auto number = static_cast<std::uint8_t>(flag);
    ReadNumber(element, name, number);
    flag = number != 0;
}

void ReadHttps(const XmlFile &file, const xmlNode *https, SettingsEntry &settings) {
    settings.securePlace = file.At(https, "checked");
    ReadFlag(https, "checked", settings.secure);
    ReadText(https, "certfile", kDeviceTextBytes, settings.certificate);
}

/// Of several <cloud> the last counts, but what is in <https> stays.
void ReadCloud(const XmlFile &file, const xmlNode *cloud, SettingsEntry &settings) {
    SettingsEntry fresh;
    fresh.secure = settings.secure;
    fresh.securePlace = settings.securePlace;
    fresh.certificate = settings.certificate;
    settings = fresh;
    settings.place = file.At(cloud);
    for (const xmlAttr *one = cloud->properties; one != nullptr; one = one->next) {
        settings.attributes[NameOf(one)] = file.At(cloud, NameOf(one));
    }
    ReadText(cloud, "cloudip", kAddressBytes, settings.server);
    ReadNumber(cloud, "port", settings.port);
    ReadFlag(cloud, "checked", settings.isOn);
    ReadText(cloud, "Dir", kAddressBytes, settings.prefix);
    ReadText(cloud, "FileType", kFormatBytes, settings.format);
    ReadFlag(cloud, "IsCompress", settings.compress);
    ReadNumber(cloud, "TcpChannel", settings.forwardChannel);
    ForEachNamed(cloud, "https", [&](const xmlNode *https) { ReadHttps(file, https, settings); });
}

void ReadNode(const XmlFile &file, const xmlNode *node, const DeviceEntry &device,
              unsigned typeCode, PointEntry &point) {
    point.place = file.At(node);
    const auto number = AttributeOf(node, "Id");
    point.hasOwnId = number.has_value();
    if (number) {
        point.id = DataId(device.channel, device.address, typeCode,
                          static_cast<std::uint32_t>(Decimal(*number)));
    }
    ReadText(node, "Name", kDeviceTextBytes, point.name);
    ReadText(node, "EUUnits", kDeviceTextBytes, point.unit);
}

void ReadForwarded(const XmlFile &file, const xmlNode *table, std::uint8_t address,
                   std::vector<ForwardEntry> &entries) {
    ForEachNamed(table, "pt", [&](const xmlNode *element) {
        ForwardEntry entry;
        entry.place = file.At(element);
        entry.address = address;
        entry.name = AttributeOf(element, "PointName").value_or("");
        const std::string link = AttributeOf(element, "db_link").value_or("0");
        const unsigned long long id = std::strtoull(link.c_str(), nullptr, 16);
        entry.id = static_cast<std::uint32_t>(id);
        entry.fits = id <= UINT32_MAX;
        entries.push_back(entry);
    });
}

}  // namespace

Place SettingsEntry::At(const std::string &attribute) const {
    const auto found = attributes.find(attribute);
    return found == attributes.end() ? place : found->second;
}

std::string SentName(const std::string &pointFile) {
    return std::string(NameOfPointFile(pointFile));
}

std::string DeviceEntry::Called() const {
    return "device '" + displayName + "' (" + std::to_string(channel) + "-" +
           std::to_string(address) + ")";
}

std::string Hexadecimal(std::uint32_t id) {
    char text[16];
    static_cast<void>(std::snprintf(text, sizeof text, "%08x", id));
    return text;
}

std::optional<SettingsEntry> ReadSettings(const XmlFile &file) {
    SettingsEntry settings;
    bool found = false;
    ForEachNamed(file.Root(), "cloud", [&](const xmlNode *cloud) {
        found = true;
        ReadCloud(file, cloud, settings);
    });
    return found ? std::optional<SettingsEntry>(settings) : std::nullopt;
}

IdentityEntry ReadIdentity(const XmlFile &file) {
    IdentityEntry identity;
    identity.modelPlace = identity.serialPlace = {file.Path(), 0, ""};
    ForEachElement(file.Root(), [&](const xmlNode *element) {
        if (NameOf(element) == "model" && AttributeOf(element, "model")) {
            identity.model = AttributeOf(element, "model");
            identity.modelPlace = file.At(element, "model");
        } else if (NameOf(element) == "sn" && AttributeOf(element, "sn")) {
            ReadText(element, "sn", kSerialBytes, identity.serial);
            identity.serialPlace = file.At(element, "sn");
        }
    });
    return identity;
}

std::vector<DeviceEntry> ReadDevices(const XmlFile &file) {
    std::vector<DeviceEntry> devices;
    DeviceEntry device;  // one for the whole file: what is left out stays
    ForEachNamed(file.Root(), "Channel", [&](const xmlNode *channel) {
        ReadNumber(channel, "No", device.channel);
        ForEachNamed(channel, "Dev", [&](const xmlNode *element) {
            device.displayName.clear();
            ReadText(element, "DeviceName", kDeviceTextBytes, device.displayName);
            ReadText(element, "Name", kDeviceTextBytes, device.pointFile);
            ReadText(element, "Desc", kDeviceTextBytes, device.description);
            ReadNumber(element, "SlaveId", device.address);
            device.place = file.At(element);
            device.place.element = device.Called();
            devices.push_back(device);
        });
    });
    return devices;
}

std::vector<PointEntry> ReadPoints(const XmlFile &file, const DeviceEntry &device) {
    std::vector<PointEntry> points;
    PointEntry point;  // one for the whole file
    ForEachNamed(file.Root(), "NodeProperty", [&](const xmlNode *property) {
        ForEachElement(property, [&](const xmlNode *list) {
            for (const PointType &type : kPointTypes) {
                if (NameOf(list) != type.element) {
                    continue;
                }
                ForEachNamed(list, "Node", [&](const xmlNode *node) {
                    ReadNode(file, node, device, type.code, point);
                    points.push_back(point);
                });
            }
        });
    });
    return points;
}

std::vector<ForwardEntry> ReadForwarding(const XmlFile &file) {
    std::vector<ForwardEntry> entries;
    std::string protocol;
    std::uint8_t address = 0;
    ForEachNamed(file.Root(), "Fwd_chan", [&](const xmlNode *channel) {
        protocol = AttributeOf(channel, "lnk_p").value_or(protocol);
        ReadNumber(channel, "addr", address);
        if (protocol != kForwardedProtocol) {
            return;
        }
        ForEachNamed(channel, "Fwd_tbl",
                     [&](const xmlNode *table) { ReadForwarded(file, table, address, entries); });
    });
    return entries;
}

}  // namespace corvenna::check
