#include "bench/packfile/points.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <fstream>

#include "base/text.h"
#include "config/channel_set.h"
#include "plugin/instances.h"

namespace corvenna::bench {
namespace {

constexpr unsigned kDevicesPerChannel = 100;

void AddToChannelSet(const Device &device, const Point &point) {
    ST_POINTID_ATTR attributes{};
    CopyText<127>(attributes.Name, point.name.c_str());
    CopyText<127>(attributes.EUUnits, point.unit.c_str());
    attributes.GroupNo = static_cast<std::uint8_t>(device.channel);
    attributes.DevId = static_cast<std::uint8_t>(device.number);
    attributes.db_link = point.id;
    GetCChannelSetInstance()->AddSamplePoint(attributes);
}

Point MakePoint(const Device &device, unsigned index, unsigned pointsPerDevice) {
    const unsigned number = index % pointsPerDevice;
    const std::uint32_t id = device.channel << 24 | device.number << 16 | number;
    const double value = std::sin(index * 0.7) * std::pow(10.0, index % 6);
    return {id, "Feeder " + std::to_string(number) + " Ua", index % 3 == 0 ? "kWh" : "V", value};
}

}  // namespace

Real_Data_Struct &Values() {
    static Real_Data_Struct values;
    return values;
}

const std::vector<Device> &MakePoints(unsigned count, unsigned pointsPerDevice) {
    setenv("TZ", "UTC0", 1);
    tzset();
    static std::vector<Device> devices;
    if (!devices.empty()) {
        return devices;  // Google Benchmark prepares again for every repetition
    }
    for (unsigned index = 0; index < count; ++index) {
        if (index % pointsPerDevice == 0) {
            const unsigned device = index / pointsPerDevice;
            devices.push_back(
                {device / kDevicesPerChannel + 1, device % kDevicesPerChannel + 1, {}});
            const Device &added = devices.back();
            Values()[added.channel << 24 | added.number << 16 | 0x0100U] = 1;
        }
        Device &device = devices.back();
        device.points.push_back(MakePoint(device, index, pointsPerDevice));
        const Point &point = device.points.back();
        AddToChannelSet(device, point);
        Values()[point.id] = point.value;
    }
    return devices;
}

void WriteText(const char *text, std::size_t length) {
    std::ofstream stream("/tmp/S20240305070809.other", std::ios::out | std::ios::trunc);
    stream.write(text, static_cast<std::streamsize>(length));
}

}  // namespace corvenna::bench
