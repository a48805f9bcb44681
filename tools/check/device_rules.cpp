#include <map>
#include <utility>

#include "tools/check/plant_rules.h"

namespace corvenna::check {

namespace {

constexpr std::uint32_t kStatusPoint = 0x0100;
constexpr std::uint32_t kPointMask = 0xFFFF;

std::string LineOf(const Place &place) {
    return place.file + ":" + std::to_string(place.line);
}

void CheckDuplicates(const Plant &plant, Findings &findings) {
    std::map<std::pair<int, int>, const DeviceEntry *> first;
    for (const DeviceEntry &device : plant.devices) {
        const auto [found, isNew] =
            first.emplace(std::pair(device.channel, device.address), &device);
        if (!isNew) {
            findings.push_back(
                {Severity::kWarning, "duplicate-device", device.place,
                 "has channel and address of " + found->second->Called() + " at line " +
                     std::to_string(found->second->place.line),
                 "it takes that one's place; the points of both stay, under one name",
                 "give each device an address of its own on its channel"});
        }
    }
}

void CheckPointIds(const Plant &plant, Findings &findings) {
    std::map<std::uint32_t, const PointEntry *> first;
    for (const auto &points : plant.points) {
        for (const PointEntry &point : points) {
            const auto [found, isNew] = first.emplace(point.id, &point);
            // A node without number is told as one that inherits.
            if (!isNew && point.hasOwnId) {
                findings.push_back({Severity::kWarning, "duplicate-data-id", point.place,
                                    "'" + point.name + "' has the data id " +
                                        Hexadecimal(point.id) + " of '" + found->second->name +
                                        "' at " + LineOf(found->second->place),
                                    "it takes that point's place, which is sent no more",
                                    "give each point of a device and type a number of its own"});
            }
        }
    }
}

std::string LastStep(const std::string &path) {
    return path.substr(path.rfind('/') + 1);
}

/// Servers know devices by their point files.
void CheckNames(const Plant &plant, Findings &findings) {
    std::map<std::string, const DeviceEntry *> byFile;
    for (const DeviceEntry &device : plant.devices) {
        if (device.IsHidden()) {
            continue;
        }
        const auto [found, isNew] = byFile.emplace(LastStep(device.pointFile), &device);
        const DeviceEntry &other = *found->second;
        if (!isNew && (other.channel != device.channel || other.address != device.address)) {
            findings.push_back({Severity::kWarning, "same-device-name", device.place,
                                "has the point file " + device.pointFile +
                                    ", whose last name is that of " + other.Called() + " at line " +
                                    std::to_string(other.place.line),
                                "servers know devices by it, and show two of one name",
                                "give each device a point file of its own name"});
        }
    }
}

void CheckPaths(const Plant &plant, Findings &findings) {
    const std::string folder = "/quorvane/Config/";
    for (const DeviceEntry &device : plant.devices) {
        const std::string &path = device.pointFile;
        const bool isUsual = path.rfind(folder, 0) == 0 && path.size() > folder.size() + 4 &&
                             path.compare(path.size() - 4, 4, ".xml") == 0;
        if (!isUsual && !device.IsHidden()) {
            findings.push_back(
                {Severity::kWarning, "odd-point-path", device.place,
                 "has the point file \"" + path + "\"",
                 "17 characters in front and 4 at the end are cut off, whatever they "
                 "are: servers know the device as \"" +
                     device.SentName() + "\"",
                 "put point files at /quorvane/Config/NAME.xml"});
        }
    }
}

void CheckStatus(const DeviceEntry &device, const std::vector<PointEntry> &points,
                 Findings &findings) {
    if (points.empty() || device.IsHidden() || device.HasNoStatus()) {
        return;
    }
    for (const PointEntry &point : points) {
        if ((point.id & kPointMask) == kStatusPoint) {
            return;
        }
    }
    const std::string id = Hexadecimal((points.front().id & ~kPointMask) | kStatusPoint);
    findings.push_back({Severity::kWarning, "no-status-point", device.place,
                        "has no status point (DI with Id 0, data id " + id + ")",
                        "unless the host has a value for it all the same, the device is down and "
                        "none of its points is sent",
                        "add <Node Id=\"0\" .../> to the list DI of " + device.pointFile});
}

}  // namespace

void CheckDevices(const Plant &plant, Findings &findings) {
    CheckDuplicates(plant, findings);
    CheckPointIds(plant, findings);
    CheckNames(plant, findings);
    CheckPaths(plant, findings);
    for (std::size_t i = 0; i < plant.devices.size(); ++i) {
        CheckStatus(plant.devices[i], plant.points[i], findings);
    }
}

}  // namespace corvenna::check
