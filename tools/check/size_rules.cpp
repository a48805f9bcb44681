#include <zlib.h>

#include <algorithm>
#include <map>
#include <new>

#include "base/json.h"
#include "tools/check/plant_rules.h"
#include "tools/check/sizes.h"

namespace corvenna::check {

namespace {

using Devices = std::map<std::pair<std::uint8_t, std::uint8_t>, std::size_t>;
using Json = rapidjson::Writer<rapidjson::StringBuffer>;

/// Devices that have points and are shown, in the plug-in's order; of two at one place the later.
Devices Shown(const Plant &plant) {
    Devices devices;
    for (std::size_t i = 0; i < plant.devices.size(); ++i) {
        const DeviceEntry &device = plant.devices[i];
        if (!plant.points[i].empty() && !device.IsHidden()) {
            devices[{device.channel, device.address}] = i;
        }
    }
    return devices;
}

std::string Escaped(const std::string &text) {
    std::string escaped;
    for (const char letter : text) {
        switch (letter) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\n':
                escaped += "&#10;";
                break;
            case '\r':
                escaped += "&#13;";
                break;
            case '\t':
                escaped += "&#9;";
                break;
            default:
                escaped += letter;
        }
    }
    return escaped;
}

std::string Attribute(const char *name, const std::string &value) {
    return std::string(" ") + name + "=\"" + Escaped(value) + "\"";
}

void Member(Json &writer, const char *name, const std::string &value) {
    writer.Key(name);
    writer.String(value.c_str());
}

std::string JsonList(const Plant &plant) {
    rapidjson::StringBuffer text;
    Json writer(text);
    writer.StartObject();
    writer.Key("device");
    writer.StartArray();
    for (const auto &[place, index] : Shown(plant)) {
        writer.StartObject();
        writer.Key("channel");
        writer.Uint(place.first);
        writer.Key("id");
        writer.Uint(place.second);
        Member(writer, "desc", plant.devices[index].description);
        Member(writer, "name", plant.devices[index].SentName());
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return text.GetString();
}

std::string InXml(const std::string &attributes, const std::string &content) {
    const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<data" + attributes;
    return content.empty() ? head + "/>\n" : head + ">\n" + content + "</data>\n";
}

std::string XmlList(const Plant &plant) {
    std::string content;
    for (const auto &[place, index] : Shown(plant)) {
        content += "  <device" + Attribute("channel", std::to_string(place.first)) +
                   Attribute("id", std::to_string(place.second)) +
                   Attribute("desc", plant.devices[index].description) +
                   Attribute("name", plant.devices[index].SentName()) + "/>\n";
    }
    return InXml("", content);
}

/// Three decimals that look measured: digits that repeat deflate better than any plant's.
class Values {
public:
    std::string Next() {
        constexpr std::uint32_t kFactor = 1664525;
        constexpr std::uint32_t kIncrement = 1013904223;
        state_ = state_ * kFactor + kIncrement;
        const std::uint32_t number = state_ >> 12U;  // up to 1,048,575
        std::string text = std::to_string(number);
        text.insert(0, text.size() < 4 ? 4 - text.size() : 0, '0');
        return text.insert(text.size() - 3, ".");
    }

private:
    std::uint32_t state_ = 1;
};

struct Sent {
    std::string id;
    std::string name;
    std::string unit;
};
using SentByDevice = std::map<std::pair<unsigned, unsigned>, std::map<std::string, Sent>>;

/// The points of a snapshot with every device up, by the key that orders them.
SentByDevice PointsOfSnapshot(const Plant &plant) {
    SentByDevice sent;
    for (const ForwardEntry &entry : plant.forwarding) {
        if (entry.address == plant.settings->forwardChannel && entry.address != 0) {
            sent[{entry.id >> 24U, entry.id >> 16U & 0xFFU}][entry.name] = {Hexadecimal(entry.id),
                                                                            entry.name, ""};
        }
    }
    if (!sent.empty()) {
        return sent;
    }
    for (const auto &[place, index] : Shown(plant)) {
        for (const PointEntry &point : plant.points[index]) {
            const std::string id = Hexadecimal(point.id);
            sent[place][id] = {id, point.name, point.unit};
        }
    }
    return sent;
}

std::string JsonSnapshot(const Plant &plant) {
    Values values;
    rapidjson::StringBuffer text;
    Json writer(text);
    writer.StartObject();
    Member(writer, "logdt", "2024-03-05 07:08:09");
    writer.Key("device");
    writer.StartArray();
    for (const auto &[place, points] : PointsOfSnapshot(plant)) {
        writer.StartObject();
        writer.Key("id");
        writer.Uint(place.second);
        writer.Key("channel");
        writer.Uint(place.first);
        writer.Key("node");
        writer.StartArray();
        for (const auto &[key, point] : points) {
            writer.StartObject();
            Member(writer, "dblink", point.id);
            Member(writer, "name", point.name);
            Member(writer, "unit", point.unit);
            Member(writer, "value", values.Next());
            writer.EndObject();
        }
        writer.EndArray();
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return text.GetString();
}

std::string XmlSnapshot(const Plant &plant) {
    Values values;
    std::string content;
    for (const auto &[place, points] : PointsOfSnapshot(plant)) {
        content += "  <device" + Attribute("id", std::to_string(place.second)) +
                   Attribute("channel", std::to_string(place.first)) + ">\n";
        for (const auto &[key, point] : points) {
            content += "    <node" + Attribute("dblink", point.id) + Attribute("name", point.name) +
                       Attribute("value", values.Next()) + Attribute("unit", point.unit) + "/>\n";
        }
        content += "  </device>\n";
    }
    return InXml(Attribute("logdt", "2024-03-05 07:08:09"), content);
}

std::size_t DeflatedBytes(const std::string &document) {
    const auto length = static_cast<uLong>(document.size() + 1);  // its NUL goes along
    std::string output(compressBound(length), '\0');
    auto bytes = static_cast<uLongf>(output.size());
    if (compress(reinterpret_cast<Bytef *>(output.data()), &bytes,
                 reinterpret_cast<const Bytef *>(document.c_str()), length) != Z_OK) {
        throw std::bad_alloc();
    }
    return bytes;
}

void CheckDeviceList(const Plant &plant, Findings &findings) {
    const bool compress = plant.settings->compress;
    const std::size_t bytes = DeviceListBytes(plant);
    const std::size_t most = MostDeviceListBytes(compress);
    if (bytes <= most) {
        return;
    }
    findings.push_back({Severity::kError, "device-list-too-long",
                        plant.devices.empty()
                            ? Place{}
                            : Place{plant.devices.front().place.file, 0, "<ChannelConfig>"},
                        "has " + std::to_string(Shown(plant).size()) + " devices, a list of " +
                            std::to_string(bytes) + " bytes",
                        "it is cut to " + std::to_string(most) +
                            " and no server can read it: the gateway is never registered",
                        compress ? "divide the devices between gateways"
                                 : "IsCompress=\"1\" makes it several times shorter"});
}

void CheckSnapshot(const Plant &plant, Findings &findings) {
    if (!plant.settings->compress) {
        return;
    }
    const std::string snapshot = plant.settings->IsXml() ? XmlSnapshot(plant) : JsonSnapshot(plant);
    const std::size_t bytes = DeflatedBytes(snapshot);
    if (bytes <= kBodyBytes) {
        return;
    }
    findings.push_back(
        {Severity::kWarning, "snapshot-too-large", plant.settings->At("IsCompress"),
         "has IsCompress on, and a snapshot of about " + std::to_string(bytes) + " bytes deflated",
         "beyond 20480 it is written and sent plain, with about " +
             std::to_string(snapshot.size()) + " bytes",
         "send fewer points (TcpChannel), or see that the server takes so much"});
}

}  // namespace

std::size_t DeviceListBytes(const Plant &plant) {
    const std::string list = plant.settings->IsXml() ? XmlList(plant) : JsonList(plant);
    return plant.settings->compress ? DeflatedBytes(list) : list.size();
}

void CheckSizes(const Plant &plant, Findings &findings) {
    if (plant.settings && (plant.settings->IsJson() || plant.settings->IsXml())) {
        CheckDeviceList(plant, findings);
        CheckSnapshot(plant, findings);
    }
}

}  // namespace corvenna::check
