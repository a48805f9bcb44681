// The body that announces the devices, in both formats. 200 devices are about as many as its buffer
// takes.

#include <libxml/tree.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "bench/support/cost.h"
#include "config/channel_set.h"
#include "config/sys_set.h"
#include "message/devices_body.h"
#include "message/pack_memory.h"
#include "plugin/instances.h"

namespace corvenna::bench {
namespace {

char gBuffer[20480];

MAP_DEV_ATTR &Devices() {
    MAP_DEV_ATTR *devices = nullptr;
    GetCChannelSetInstance()->GetAttr(&devices);
    return *devices;
}

void Prepare(unsigned count) {
    GetCSysSetInstance();
    for (unsigned i = 0; i < count; ++i) {
        ST_DEV_ATTR dev{};
        dev.ChannelNo = static_cast<std::uint8_t>(1 + i / 100);
        dev.SlaveId = static_cast<std::uint8_t>(i % 100);
        std::snprintf(dev.Name, sizeof dev.Name, "/quorvane/Config/Meter%03u.xml", i);
        std::strcpy(dev.Desc, "power meter, hall 3");
        GetCChannelSetInstance()->AddDev(dev);
        ST_POINTID_ATTR point{};
        point.GroupNo = dev.ChannelNo;
        point.DevId = dev.SlaveId;
        GetCChannelSetInstance()->AddSamplePoint(point);
    }
}

void Json() {
    GetCPackMemoryInstance()->CreateDevicesMemory("json", gBuffer, sizeof gBuffer);
}

void Xml() {
    GetCPackMemoryInstance()->CreateDevicesMemory("xml", gBuffer, sizeof gBuffer);
}

/// Plain appending of the same texts, copied into the buffer.
void BareJson() {
    std::string text = "{\"device\":[";
    for (const auto &[number, dev] : Devices()) {
        text.append(text.back() == '[' ? "" : ",");
        text.append("{\"channel\":").append(std::to_string(number >> 8));
        text.append(",\"id\":").append(std::to_string(number & 0xFF));
        text.append(",\"desc\":\"").append(dev.Desc).append("\",\"name\":\"");
        text.append(NameOfPointFile(dev.Name)).append("\"}");
    }
    text.append("]}");
    std::snprintf(gBuffer, sizeof gBuffer - 1, "%s", text.c_str());
}

const xmlChar *Text(const char *text) {
    return reinterpret_cast<const xmlChar *>(text);
}

/// The same tree with libxml2 alone, printed and copied into the buffer.
void BareXml() {
    xmlDocPtr document = xmlNewDoc(Text("1.0"));
    xmlNodePtr root = xmlNewNode(nullptr, Text("data"));
    xmlDocSetRootElement(document, root);
    for (const auto &[number, dev] : Devices()) {
        xmlNodePtr element = xmlNewChild(root, nullptr, Text("device"), nullptr);
        char channel[8];
        char id[8];
        std::snprintf(channel, sizeof channel, "%d", number >> 8);
        std::snprintf(id, sizeof id, "%d", number & 0xFF);
        xmlNewProp(element, Text("channel"), Text(channel));
        xmlNewProp(element, Text("id"), Text(id));
        xmlNewProp(element, Text("desc"), Text(dev.Desc));
        xmlNewProp(element, Text("name"), Text(std::string(NameOfPointFile(dev.Name)).c_str()));
    }
    xmlChar *memory = nullptr;
    int length = 0;
    xmlDocDumpFormatMemoryEnc(document, &memory, &length, "UTF-8", 1);
    std::snprintf(gBuffer, sizeof gBuffer - 1, "%s", reinterpret_cast<const char *>(memory));
    xmlFree(memory);
    xmlFreeDoc(document);
}

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    return CostMain(argc, argv, 200,
                    {{"json", Prepare, Json},
                     {"bare_json", Prepare, BareJson},
                     {"xml", Prepare, Xml},
                     {"bare_xml", Prepare, BareXml}});
}
