#include "tools/gateway/matching.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace corvenna::gateway {

namespace {

using IdsByName = std::multimap<std::string, std::uint32_t>;

std::string FullName(const Device &device, const Point &point) {
    return device.name + "/" + point.name;
}

bool IsStatus(const Device &device, const Point &point) {
    return device.channel != kChannelWithoutStatus &&
           DataId(device, point) == StatusId(device.channel, device.address);
}

std::string Hexadecimal(std::uint32_t id) {
    char text[16];
    static_cast<void>(std::snprintf(text, sizeof text, "%08x", id));
    return text;
}

/// What of the configuration can be found: points by their names, states by those of their devices,
/// both by their ids.
struct Index {
    explicit Index(const Catalogue &configured) {
        for (const Device &device : configured) {
            states.emplace(device.name, StatusId(device.channel, device.address));
            ids.insert(StatusId(device.channel, device.address));
            for (const Point &point : device.points) {
                if (!IsStatus(device, point)) {
                    points.emplace(FullName(device, point), DataId(device, point));
                    ids.insert(DataId(device, point));
                }
            }
        }
    }

    IdsByName points;
    IdsByName states;
    std::set<std::uint32_t> ids;
};

/// The one point of that name; of several, the one that has the source's own id; 0 for none.
std::uint32_t FindByName(const IdsByName &ids, const std::string &name, std::uint32_t own) {
    const auto [first, last] = ids.equal_range(name);
    if (first == last) {
        return 0;
    }
    const auto same = std::find_if(first, last, [own](auto &item) { return item.second == own; });
    if (same != last) {
        return own;
    }
    return std::next(first) == last ? first->second : 0;
}

std::uint32_t Find(const Index &index, const Device &device, const Point &point) {
    const std::uint32_t own = DataId(device, point);
    if (point.isById) {
        return index.ids.count(own) != 0 ? own : 0;
    }
    return IsStatus(device, point) ? FindByName(index.states, device.name, own)
                                   : FindByName(index.points, FullName(device, point), own);
}

}  // namespace

Catalogue ToCatalogue(const MAP_CHANNEL_POINT &points, const MAP_DEV_ATTR &devices) {
    Catalogue catalogue;
    for (const auto &[channel, addresses] : points) {
        for (const auto &[address, nodes] : addresses) {
            Device device{channel, address, "", "", "", {}};
            const auto known = devices.find(static_cast<std::uint16_t>(channel * 256 + address));
            if (known != devices.end()) {
                device.name = known->second.DeviceName;
            }
            for (const auto &[id, node] : nodes) {
                const std::uint16_t number = node.NodeId;
                device.points.push_back(
                    {static_cast<PointType>(node.type), number, node.Name, node.EUUnits});
            }
            catalogue.push_back(std::move(device));
        }
    }
    return catalogue;
}

MatchedSource::MatchedSource(Source &source, const Catalogue &configured) : source_(source) {
    const Index index(configured);
    std::set<std::uint32_t> found;
    for (const Device &device : source.Devices()) {
        for (const Point &point : device.points) {
            const std::uint32_t id = Find(index, device, point);
            if (id != 0 && found.insert(id).second) {
                idOfSource_[DataId(device, point)] = id;
            } else if (point.isById || !IsStatus(device, point)) {
                AddOther(device, point);
            }
        }
    }
    for (const auto &[name, id] : index.points) {
        if (found.count(id) == 0) {
            unmatched_.push_back(
                "'" + name + "' (" + Hexadecimal(id) +
                ") of the configuration is no point of the source: it has no value");
        }
    }
}

void MatchedSource::AddOther(const Device &device, const Point &point) {
    const std::uint32_t own = DataId(device, point);
    const std::string name = point.isById ? Hexadecimal(own) : FullName(device, point);
    nameOfOther_[own] = name;
    unmatched_.push_back("'" + name +
                         "' of the source is no point of the configuration: its values stay in the "
                         "history");
}

Reading MatchedSource::Read(std::time_t now) {
    Reading reading;
    for (const auto &[own, value] : source_.Read(now)) {
        if (const auto known = idOfSource_.find(own); known != idOfSource_.end()) {
            reading.values[known->second] = value;
        } else if (const auto other = nameOfOther_.find(own); other != nameOfOther_.end()) {
            reading.others[other->second] = value;
        }
    }
    return reading;
}

}  // namespace corvenna::gateway
