#include "tools/cloud/messages.h"

#include <cctype>
#include <cstdlib>
#include <limits>

#include "tools/cloud/text.h"

namespace corvenna::cloud {
namespace {

constexpr std::size_t kLongestText = 1024;
constexpr std::size_t kLongestValue = 64;
constexpr int kLowestInt = std::numeric_limits<int>::min();
constexpr int kHighestInt = std::numeric_limits<int>::max();

std::string Text(const Element &element, const std::string &name) {
    const std::string &text = element.Text(name);
    if (text.size() > kLongestText) {
        throw BadDocument("\"" + name + "\" is longer than " + std::to_string(kLongestText) +
                          " bytes");
    }
    return text;
}

std::string Time(const Element &element, const std::string &name) {
    const std::string &text = element.Text(name);
    if (!IsTimeText(text)) {
        throw BadDocument("\"" + name + "\" is no time (YYYY-MM-DD hh:mm:ss)");
    }
    return text;
}

std::string DataId(const Element &element) {
    const std::string &text = element.Text("dblink");
    if (text.size() != 8 || text.find_first_not_of("0123456789abcdef") != std::string::npos) {
        throw BadDocument("\"dblink\" is not eight lower-case hexadecimal digits");
    }
    return text;
}

/// What printf makes of a double, "nan" and "inf" included; gateways cut long ones.
std::string Value(const Element &element, const std::string &name) {
    const std::string &text = element.Text(name);
    char *end = nullptr;
    static_cast<void>(std::strtod(text.c_str(), &end));
    if (text.empty() || text.size() > kLongestValue ||
        std::isspace(static_cast<unsigned char>(text.front())) != 0 || *end != '\0') {
        throw BadDocument("\"" + name + "\" is no number");
    }
    return text;
}

int Byte(const Element &element, const std::string &name) {
    return element.Number(name, 0, 255);
}

}  // namespace

GatewayMessage ReadGateway(Format format, const Element &document) {
    // XML wraps the description, JSON does not.
    const Element &gateway = format == Format::kXml ? document.Child("gw") : document;
    const Element &site = gateway.Child("site");
    const Element &owner = gateway.Child("owner");
    const Element &room = gateway.Child("room");
    GatewayMessage message{Text(gateway, "sn"), Text(gateway, "name"),   Text(gateway, "ver"),
                           Text(site, "name"),  Text(site, "longitude"), Text(site, "latitude"),
                           Text(owner, "name"), Text(owner, "desc"),     Text(room, "name"),
                           Text(room, "desc"),  Text(room, "camera")};
    if (!IsSerialNumber(message.sn)) {
        throw BadDocument("\"sn\" is no serial number");
    }
    return message;
}

std::vector<DeviceMessage> ReadDevices(const Element &document) {
    std::vector<DeviceMessage> devices;
    for (const Element *device : document.List("device")) {
        devices.push_back({Byte(*device, "channel"), Byte(*device, "id"), Text(*device, "desc"),
                           Text(*device, "name")});
    }
    return devices;
}

RealDataMessage ReadRealData(const Element &document) {
    RealDataMessage message;
    message.time = Time(document, "logdt");
    for (const Element *device : document.List("device")) {
        const int channel = Byte(*device, "channel");
        const int id = Byte(*device, "id");
        for (const Element *node : device->List("node")) {
            message.samples.push_back({channel, id, DataId(*node), Text(*node, "name"),
                                       Text(*node, "unit"), Value(*node, "value")});
        }
    }
    return message;
}

std::vector<AlarmMessage> ReadAlarms(Format format, const Element &document) {
    // On purpose: the two formats spell the threshold differently.
    const char *threshold = format == Format::kXml ? "thredhold_value" : "threshold_value";
    std::vector<AlarmMessage> alarms;
    for (const Element *node : document.List("node")) {
        alarms.push_back({Time(*node, "logdt"), Byte(*node, "channel"), Byte(*node, "device"),
                          DataId(*node), Text(*node, "name"), Value(*node, "value"),
                          Value(*node, threshold), Text(*node, "unit"),
                          node->Number("type", kLowestInt, kHighestInt),
                          node->Number("flag", kLowestInt, kHighestInt)});
    }
    return alarms;
}

TimeRange ReadRecallDone(const Element &document) {
    const Element &node = document.Child("node");
    return {Time(node, "startdt"), Time(node, "enddt")};
}

FileStatusMessage ReadFileStatus(const Element &document) {
    const Element &node = document.Child("node");
    const auto status = WholeNumber(node.Text("status"), 0, 2);
    if (!status) {
        throw BadDocument("\"status\" is none of 0, 1 and 2");
    }
    return {Text(node, "md5"), static_cast<int>(*status)};
}

}  // namespace corvenna::cloud
