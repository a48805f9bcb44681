#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "base/text.h"
#include "config/channel_set.h"
#include "message/body.h"

namespace corvenna {

/// One device as it is announced.
struct DeviceFact {
    std::uint8_t channel;
    std::uint8_t id;
    std::string_view desc;
    std::string_view name;
};

/// A device's name at the server: its point file without the configuration folder in front, whose
/// length is counted and not looked at, and without ".xml". Empty where the path is shorter.
inline std::string_view NameOfPointFile(std::string_view path) {
    constexpr std::size_t kFolderLength = 17;  // "/quorvane/Config/"
    constexpr std::size_t kExtensionLength = 4;
    if (path.size() < kFolderLength + kExtensionLength) {
        return {};
    }
    return path.substr(kFolderLength, path.size() - kFolderLength - kExtensionLength);
}

/// The device list: every device that has points, in ascending order.
class DevicesBody final : public BodyContent {
public:
    DevicesBody(const MAP_CHANNEL_POINT &points, const MAP_DEV_ATTR &devices)
        : points_(points), devices_(devices) {}

    void SpellJson(JsonText &out) const override {
        out.StartObject();
        out.Key("device");
        out.StartArray();
        Walk([&](const DeviceFact &device) {
            out.StartObject();
            out.Key("channel");
            out.Uint(device.channel);
            out.Key("id");
            out.Uint(device.id);
            out.Key("desc");
            out.String(device.desc);
            out.Key("name");
            out.String(device.name);
            out.EndObject();
        });
        out.EndArray();
        out.EndObject();
    }

    void SpellXml(xmlNodePtr data) const override {
        Walk([&](const DeviceFact &device) {
            xmlNodePtr element = AddElement(data, "device");
            AddAttribute(element, "channel", DecimalText(device.channel).Get());
            AddAttribute(element, "id", DecimalText(device.id).Get());
            AddAttribute(element, "desc", device.desc.data());
            AddAttribute(element, "name", std::string(device.name).c_str());
        });
    }

private:
    template <class Visit>
    void Walk(Visit visit) const {
        constexpr std::uint8_t kReservedChannel = 193;
        for (const auto &[channel, slaves] : points_) {
            if (channel == kReservedChannel) {
                continue;  // On purpose: this channel is never reported.
            }
            for (const auto &slave : slaves) {
                visit(Describe(channel, slave.first));
            }
        }
    }

    /// A device that has points and no record of its own is announced without texts.
    DeviceFact Describe(std::uint8_t channel, std::uint8_t id) const {
        const auto found = devices_.find(static_cast<std::uint16_t>(channel * 256 + id));
        if (found == devices_.end()) {
            return {channel, id, "", ""};
        }
        return {channel, id, found->second.Desc, NameOfPointFile(found->second.Name)};
    }

    const MAP_CHANNEL_POINT &points_;
    const MAP_DEV_ATTR &devices_;
};

}  // namespace corvenna
