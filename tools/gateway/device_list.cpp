#include "tools/gateway/device_list.h"

#include <zlib.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "base/json.h"
#include "tools/gateway/configuration.h"
#include "tools/gateway/xml_builder.h"

namespace corvenna::gateway {

namespace {

/// The plug-in takes a device's name from its point file.
std::string ListedName(const Device &device) {
    const std::string file = PointFileName(device);
    return file.substr(0, file.rfind('.'));
}

std::string JsonList(const Catalogue &devices) {
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    writer.StartObject();
    writer.Key("device");
    writer.StartArray();
    for (const Device &device : devices) {
        writer.StartObject();
        writer.Key("channel");
        writer.Uint(device.channel);
        writer.Key("id");
        writer.Uint(device.address);
        writer.Key("desc");
        writer.String(device.description.c_str());
        writer.Key("name");
        writer.String(ListedName(device).c_str());
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return {text.GetString(), text.GetSize()};
}

std::string XmlList(const Catalogue &devices) {
    const XmlBuilder list("data");
    for (const Device &device : devices) {
        list.Root()
            .Child("device")
            .Set("channel", device.channel)
            .Set("id", device.address)
            .Set("desc", device.description)
            .Set("name", ListedName(device));
    }
    return list.Text();
}

std::size_t DeflatedBytes(const std::string &text) {
    const auto length = static_cast<uLong>(text.size() + 1);  // its NUL goes along
    std::vector<Bytef> output(compressBound(length));
    auto bytes = static_cast<uLongf>(output.size());
    if (compress(output.data(), &bytes, reinterpret_cast<const Bytef *>(text.c_str()), length) !=
        Z_OK) {
        throw std::runtime_error("zlib could not deflate the list of devices");
    }
    return bytes;
}

}  // namespace

std::size_t DeviceListBytes(const Catalogue &devices, const std::string &format, bool compress) {
    Catalogue listed;
    std::copy_if(devices.begin(), devices.end(), std::back_inserter(listed),
                 [](const Device &device) { return device.channel != kHiddenChannel; });
    // In the plug-in's order.
    std::sort(listed.begin(), listed.end(), [](const Device &one, const Device &other) {
        return std::pair(one.channel, one.address) < std::pair(other.channel, other.address);
    });
    const std::string text = format == "xml" ? XmlList(listed) : JsonList(listed);
    return compress ? DeflatedBytes(text) : text.size();
}

}  // namespace corvenna::gateway
