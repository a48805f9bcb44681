#include "tools/gateway/catalogue.h"

#include <cmath>

#include "base/text.h"

namespace corvenna::gateway {

std::uint32_t DataId(std::uint8_t channel, std::uint8_t address, PointType type,
                     std::uint16_t number) {
    const std::uint32_t low = number & 0xFFU;
    const std::uint32_t high = (number & 0xF00U) << 4U;
    return std::uint32_t{channel} << 24U | std::uint32_t{address} << 16U | high |
           static_cast<std::uint32_t>(type) << 8U | low;
}

std::uint32_t DataId(const Device &device, const Point &point) {
    return DataId(device.channel, device.address, point.type, point.number);
}

std::uint32_t StatusId(std::uint8_t channel, std::uint8_t address) {
    return DataId(channel, address, PointType::kDigitalInput, 0);
}

MAP_CHANNEL_POINT ToPointTree(const Catalogue &catalogue) {
    MAP_CHANNEL_POINT tree;
    for (const Device &device : catalogue) {
        for (const Point &point : device.points) {
            ST_POINTID_ATTR record{};
            CopyText<127>(record.Name, point.name.c_str());
            CopyText<127>(record.EUUnits, point.unit.c_str());
            record.GroupNo = device.channel;
            record.DevId = device.address;
            record.type = static_cast<std::uint8_t>(point.type);
            record.NodeId = point.number;
            record.db_link = DataId(device, point);
            tree[device.channel][device.address][DataId(device, point)] = record;
        }
    }
    return tree;
}

namespace {

void CompleteDevice(std::uint32_t status, const MAP_POINTID_ATTR &points, const Values &read,
                    Values &sample) {
    bool answers = false;
    for (const auto &[id, point] : points) {
        if (id == status) {
            continue;
        }
        const auto value = read.find(id);
        const bool wasRead = value != read.end() && std::isfinite(value->second);
        answers = answers || wasRead;
        sample[id] = wasRead ? value->second : kNotRead;
    }
    const auto told = read.find(status);
    sample[status] = told != read.end() ? told->second : answers ? 1.0 : 0.0;
}

}  // namespace

Values CompleteSample(const Values &read, const MAP_CHANNEL_POINT &configured) {
    Values sample;
    for (const auto &[channel, devices] : configured) {
        for (const auto &[address, points] : devices) {
            CompleteDevice(StatusId(channel, address), points, read, sample);
        }
    }
    return sample;
}

std::map<std::string, std::uint32_t> PointNames(const Catalogue &catalogue) {
    std::map<std::string, std::uint32_t> names;
    for (const Device &device : catalogue) {
        for (const Point &point : device.points) {
            names.emplace(device.name + "/" + point.name, DataId(device, point));
        }
    }
    return names;
}

}  // namespace corvenna::gateway
