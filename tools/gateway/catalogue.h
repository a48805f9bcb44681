#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "config/channel_set.h"

namespace corvenna::gateway {

/// Data id → value; what the plug-in takes for one moment.
using Values = std::map<unsigned int, double>;

/// The code of a point's type in its data id.
enum class PointType : std::uint8_t {
    kAnalogueInput = 0,
    kDigitalInput = 1,
    kCounter = 2,
    kDigitalOutput = 3,
    kAnalogueOutput = 4
};

/// Value that stands for a point that could not be read.
constexpr double kNotRead = -1.0;

/// Devices of this channel have no status point.
constexpr std::uint8_t kChannelWithoutStatus = 192;
/// This channel never leaves the gateway.
constexpr std::uint8_t kHiddenChannel = 193;

struct Point {
    PointType type;
    std::uint16_t number;  ///< 0 to 4095, within its type; digital input 0 is the device's status
    std::string name;
    std::string unit;
    bool isById = false;  ///< it is the point of that data id, whatever the name
};

struct Device {
    std::uint8_t channel;
    std::uint8_t address;  ///< on its channel
    std::string name;
    std::string description;
    std::string protocol;
    std::vector<Point> points;
};

/// All devices of a source, by channel and address.
using Catalogue = std::vector<Device>;

/// The data id of a point.
std::uint32_t DataId(std::uint8_t channel, std::uint8_t address, PointType type,
                     std::uint16_t number);
std::uint32_t DataId(const Device &device, const Point &point);

/// The data id of a device's communication status, 1 while it answers and 0 while it does not.
std::uint32_t StatusId(std::uint8_t channel, std::uint8_t address);

/// The tree that the plug-in would hold after it loaded this catalogue.
MAP_CHANNEL_POINT ToPointTree(const Catalogue &catalogue);

/// Turns what a source read into what the plug-in wants: a value for every configured point,
/// kNotRead for those that are missing, and a status for every device. A status that the source
/// tells stands; otherwise a device is up when one of its points was read.
Values CompleteSample(const Values &read, const MAP_CHANNEL_POINT &configured);

/// "Device/Point", the way by which people name a point; all points of a catalogue.
std::map<std::string, std::uint32_t> PointNames(const Catalogue &catalogue);

}  // namespace corvenna::gateway
