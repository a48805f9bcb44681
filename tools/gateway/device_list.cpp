#include "tools/gateway/device_list.h"

#include "tools/check/plant.h"
#include "tools/check/sizes.h"
#include "tools/gateway/configuration.h"

namespace corvenna::gateway {

std::size_t DeviceListBytes(const Catalogue &devices, const std::string &format, bool compress) {
    check::Plant plant;
    check::SettingsEntry &settings = plant.settings.emplace();
    settings.format = format;
    settings.compress = compress;
    for (const Device &device : devices) {
        check::DeviceEntry &entry = plant.devices.emplace_back();
        entry.channel = device.channel;
        entry.address = device.address;
        entry.pointFile = PointFilePath(device);
        entry.description = device.description;
        plant.points.emplace_back(device.points.size());
    }
    return check::DeviceListBytes(plant);
}

}  // namespace corvenna::gateway
