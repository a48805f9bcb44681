#include "tools/gateway/recorded_points.h"

#include <charconv>
#include <optional>
#include <stdexcept>

namespace corvenna::gateway {

namespace {

constexpr std::uint8_t kChannelOfNames = 1;
constexpr unsigned kMostDevices = 255;
constexpr std::uint16_t kMostPoints = 4096;
constexpr std::size_t kDataIdDigits = 8;

std::optional<std::uint32_t> ParseDataId(const std::string &text) {
    std::uint32_t id = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, id, 16);
    if (text.size() != kDataIdDigits || error != std::errc() || rest != end || id == 0) {
        return std::nullopt;
    }
    return id;
}

/// "Name [unit]" taken apart.
std::pair<std::string, std::string> SplitUnit(const std::string &text) {
    const auto open = text.rfind('[');
    if (open == std::string::npos || text.back() != ']') {
        return {text, ""};
    }
    std::string name = text.substr(0, open);
    name.erase(name.find_last_not_of(' ') + 1);
    return {name, text.substr(open + 1, text.size() - open - 2)};
}

/// "2:Device" taken apart. A name may have a colon behind anything but a number.
std::pair<std::optional<std::uint8_t>, std::string> SplitChannel(const std::string &text) {
    unsigned channel = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), channel);
    if (error == std::errc::invalid_argument || rest == text.data() + text.size() || *rest != ':') {
        return {std::nullopt, text};
    }
    std::string name(rest + 1, text.data() + text.size());
    if (error != std::errc() || channel < 1 || channel >= kChannelWithoutStatus || name.empty()) {
        throw std::runtime_error("device '" + text + "' is of no channel from 1 to 191");
    }
    return {static_cast<std::uint8_t>(channel), std::move(name)};
}

PointType TypeOf(std::uint32_t id) {
    return static_cast<PointType>(id >> 8U & 0x0FU);
}

std::uint16_t NumberOf(std::uint32_t id) {
    return static_cast<std::uint16_t>((id & 0xFFU) | (id >> 4U & 0xF00U));
}

}  // namespace

std::uint32_t RecordedPoints::Add(const std::string &column) {
    std::uint32_t id = 0;
    if (const auto given = ParseDataId(column)) {
        if (TypeOf(*given) > PointType::kAnalogueOutput) {
            throw std::runtime_error("column '" + column + "' is of no type that a point can have");
        }
        id = AddById(*given);
    } else {
        const auto [path, unit] = SplitUnit(column);
        const auto slash = path.find('/');
        if (slash == std::string::npos || slash == 0 || slash + 1 == path.size()) {
            throw std::runtime_error("column '" + column + "' is not called Device/Point");
        }
        id = AddByName(path.substr(0, slash), path.substr(slash + 1), unit);
    }
    if (!ids_.insert(id).second) {
        throw std::runtime_error("column '" + column + "' is there twice");
    }
    return id;
}

RecordedPoints::Taken &RecordedPoints::FindOrAdd(Address address, const std::string &name) {
    const auto [found, isNew] = taken_.try_emplace(address);
    if (isNew) {
        found->second.index = devices_.size();
        addressOfName_.emplace(name, address);
        devices_.push_back({address.first,
                            address.second,
                            name,
                            "Recorded values",
                            "Recorded",
                            {{PointType::kDigitalInput, 0, "Comm_Status", ""}}});
    }
    return found->second;
}

/// A device that a column names gets the first address of its channel that is free.
RecordedPoints::Taken &RecordedPoints::FindOrAddByName(const std::string &text) {
    const auto [channel, name] = SplitChannel(text);
    if (addressOfName_.count(name) != 0) {
        return FindKnown(name, channel);
    }
    for (unsigned address = 1; address <= kMostDevices; ++address) {
        const Address free{channel.value_or(kChannelOfNames), static_cast<std::uint8_t>(address)};
        if (taken_.count(free) == 0) {
            return FindOrAdd(free, name);
        }
    }
    throw std::runtime_error("more than 255 devices of a channel among the recorded values");
}

RecordedPoints::Taken &RecordedPoints::FindKnown(const std::string &name,
                                                 std::optional<std::uint8_t> channel) {
    const Address address = addressOfName_.at(name);
    if (channel && *channel != address.first) {
        throw std::runtime_error("device '" + name + "' is of channel " +
                                 std::to_string(address.first) + " and of channel " +
                                 std::to_string(*channel));
    }
    return taken_.at(address);
}

std::uint32_t RecordedPoints::AddById(std::uint32_t id) {
    const auto channel = static_cast<std::uint8_t>(id >> 24U);
    const auto address = static_cast<std::uint8_t>(id >> 16U & 0xFFU);
    Taken &taken = FindOrAdd({channel, address},
                             "Device" + std::to_string(channel) + "-" + std::to_string(address));
    Device &device = devices_[taken.index];
    if (id == StatusId(channel, address)) {
        device.points.front().isById = true;
        return id;
    }
    if (TypeOf(id) == PointType::kAnalogueInput) {
        taken.numbers.insert(NumberOf(id));
    }
    device.points.push_back(
        {TypeOf(id), NumberOf(id), "Point " + std::to_string(NumberOf(id)), "", true});
    return id;
}

std::uint32_t RecordedPoints::AddByName(const std::string &deviceName, const std::string &point,
                                        const std::string &unit) {
    Taken &taken = FindOrAddByName(deviceName);
    const auto [known, isNew] = taken.ids.try_emplace(point, 0);
    if (!isNew) {
        return known->second;
    }
    while (taken.numbers.count(taken.next) != 0) {
        ++taken.next;
    }
    if (taken.next >= kMostPoints) {
        throw std::runtime_error("more than 4096 points of device '" + deviceName + "'");
    }
    taken.numbers.insert(taken.next);
    Device &device = devices_[taken.index];
    device.points.push_back({PointType::kAnalogueInput, taken.next, point, unit});
    known->second = DataId(device, device.points.back());
    return known->second;
}

}  // namespace corvenna::gateway
