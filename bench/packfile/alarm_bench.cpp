// One file of alarm events, from the list to the disk, beside plain appending of texts and beside
// libxml2's bare calls.

#include <libxml/tree.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/xml.h"
#include "bench/packfile/points.h"
#include "bench/support/cost.h"
#include "packfile/packfile.h"

namespace corvenna::bench {
namespace {

struct AlarmTexts {
    std::string time;
    std::string channel;
    std::string device;
    std::string id;
    std::string name;
    std::string unit;
    std::string value;
    std::string threshold;
};

Alarm_Data_Struct gAlarms;
std::vector<AlarmTexts> gTexts;

std::string ValueOf(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.3lf", value);
    return text;
}

void Prepare(unsigned count) {
    gAlarms.clear();
    gTexts.clear();
    const std::vector<Device> &devices = MakePoints(count);
    for (const Device &device : devices) {
        for (const Point &point : device.points) {
            gAlarms.push_back(
                {static_cast<std::int32_t>(kSampleTime), point.id, 100.5, point.value, 1, 1});
            char id[16];
            std::snprintf(id, sizeof id, "%08x", point.id);
            gTexts.push_back({kSampleTimeText, std::to_string(device.channel),
                              std::to_string(device.number), id, point.name, point.unit,
                              ValueOf(point.value), ValueOf(100.5)});
        }
    }
}

using Writer = std::int32_t (CPackFile::*)(Alarm_Data_Struct *, char *, std::vector<std::string> *);

template <Writer Write>
void WritePackFile() {
    char dir[] = "/tmp";
    std::vector<std::string> files;
    (GetCPackFileInstance()->*Write)(&gAlarms, dir, &files);
    if (files.size() != 1) {
        std::abort();
    }
    std::remove(files[0].c_str());  // two alarm files of a second have one name
}

void AppendJson() {
    std::string text = "{\"node\":[";
    for (const AlarmTexts &alarm : gTexts) {
        text += text.back() == '[' ? "{" : ",{";
        text.append("\"logdt\":\"").append(alarm.time).append("\",\"channel\":");
        text.append(alarm.channel).append(",\"device\":").append(alarm.device);
        text.append(",\"dblink\":\"").append(alarm.id).append("\",\"name\":\"");
        text.append(alarm.name).append("\",\"value\":\"").append(alarm.value);
        text.append("\",\"threshold_value\":\"").append(alarm.threshold);
        text.append("\",\"unit\":\"").append(alarm.unit).append("\",\"type\":1,\"flag\":1}");
    }
    text += "]}";
    WriteText(text.data(), text.size());
}

void Attribute(xmlNodePtr node, const char *name, const std::string &text) {
    xmlNewProp(node, ToXml(name), ToXml(text.c_str()));
}

void WriteBareTree() {
    xmlDocPtr document = xmlNewDoc(ToXml("1.0"));
    xmlNodePtr root = xmlNewNode(nullptr, ToXml("data"));
    xmlDocSetRootElement(document, root);
    for (const AlarmTexts &alarm : gTexts) {
        xmlNodePtr node = xmlNewChild(root, nullptr, ToXml("node"), nullptr);
        Attribute(node, "logdt", alarm.time);
        Attribute(node, "channel", alarm.channel);
        Attribute(node, "device", alarm.device);
        Attribute(node, "dblink", alarm.id);
        Attribute(node, "name", alarm.name);
        Attribute(node, "value", alarm.value);
        Attribute(node, "unit", alarm.unit);
        Attribute(node, "thredhold_value", alarm.threshold);
        Attribute(node, "type", "1");
        Attribute(node, "flag", "1");
    }
    xmlSaveFormatFileEnc("/tmp/T.other", document, "UTF-8", 1);
    xmlFreeDoc(document);
    xmlCleanupParser();
    xmlMemoryDump();
}

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    return CostMain(argc, argv, 10000,
                    {{"json", Prepare, WritePackFile<&CPackFile::CreateAlarmDataJsonFile>},
                     {"json appending", Prepare, AppendJson},
                     {"xml", Prepare, WritePackFile<&CPackFile::CreateAlarmDataXmlFile>},
                     {"xml bare tree", Prepare, WriteBareTree}});
}
