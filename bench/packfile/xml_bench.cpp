// One real-data document in XML, from the snapshot to the written file: the pack file, the bare
// libxml2 calls that build and save the same tree out of texts that are already there, and
// libxml2's streaming writer.

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "base/xml.h"
#include "bench/packfile/points.h"
#include "bench/support/cost.h"
#include "packfile/value_text.h"
#include "plugin/instances.h"

namespace corvenna::bench {
namespace {

constexpr char kPath[] = "/tmp/S20240305070809.other";

struct PointTexts {
    std::string dblink;
    std::string name;
    std::string value;
    std::string unit;
};

struct DeviceTexts {
    std::string number;
    std::string channel;
    std::vector<PointTexts> points;
};

std::vector<DeviceTexts> gDevices;

void Prepare(unsigned count) {
    gDevices.clear();
    for (const Device &device : MakePoints(count)) {
        DeviceTexts texts{std::to_string(device.number), std::to_string(device.channel), {}};
        for (const Point &point : device.points) {
            texts.points.push_back({DataIdText(point.id).Get(), point.name,
                                    ValueText<15>(point.value).Get(), point.unit});
        }
        gDevices.push_back(std::move(texts));
    }
}

/// As many devices of a few points each, for the cost of a device.
void PrepareDevices(unsigned count) {
    constexpr unsigned kFewPoints = 10;
    MakePoints(kFewPoints * count, kFewPoints);
}

void WritePackFile() {
    char dir[] = "/tmp";
    std::vector<std::string> files;
    GetCPackFileInstance()->CreateRealDataXmlFile(&Values(), dir, &files, kSampleTime, 0);
    if (files.size() != 1) {
        std::abort();
    }
}

void Attribute(xmlNodePtr node, const char *name, const std::string &text) {
    xmlNewProp(node, ToXml(name), ToXml(text.c_str()));
}

void WriteBareTree() {
    xmlDocPtr document = xmlNewDoc(ToXml("1.0"));
    xmlNodePtr root = xmlNewNode(nullptr, ToXml("data"));
    xmlDocSetRootElement(document, root);
    Attribute(root, "logdt", kSampleTimeText);
    for (const DeviceTexts &device : gDevices) {
        xmlNodePtr entry = xmlNewChild(root, nullptr, ToXml("device"), nullptr);
        Attribute(entry, "id", device.number);
        Attribute(entry, "channel", device.channel);
        for (const PointTexts &point : device.points) {
            xmlNodePtr node = xmlNewChild(entry, nullptr, ToXml("node"), nullptr);
            Attribute(node, "dblink", point.dblink);
            Attribute(node, "name", point.name);
            Attribute(node, "value", point.value);
            Attribute(node, "unit", point.unit);
        }
    }
    xmlSaveFormatFileEnc(kPath, document, "UTF-8", 1);
    xmlFreeDoc(document);
    xmlCleanupParser();
    xmlMemoryDump();
}

void Attribute(xmlTextWriterPtr writer, const char *name, const std::string &text) {
    xmlTextWriterWriteAttribute(writer, ToXml(name), ToXml(text.c_str()));
}

void WriteStreaming() {
    xmlTextWriterPtr writer = xmlNewTextWriterFilename(kPath, 0);
    xmlTextWriterSetIndent(writer, 1);
    xmlTextWriterSetIndentString(writer, ToXml("  "));
    xmlTextWriterStartDocument(writer, "1.0", "UTF-8", nullptr);
    xmlTextWriterStartElement(writer, ToXml("data"));
    Attribute(writer, "logdt", kSampleTimeText);
    for (const DeviceTexts &device : gDevices) {
        xmlTextWriterStartElement(writer, ToXml("device"));
        Attribute(writer, "id", device.number);
        Attribute(writer, "channel", device.channel);
        for (const PointTexts &point : device.points) {
            xmlTextWriterStartElement(writer, ToXml("node"));
            Attribute(writer, "dblink", point.dblink);
            Attribute(writer, "name", point.name);
            Attribute(writer, "value", point.value);
            Attribute(writer, "unit", point.unit);
            xmlTextWriterEndElement(writer);
        }
        xmlTextWriterEndElement(writer);
    }
    xmlTextWriterEndDocument(writer);
    xmlFreeTextWriter(writer);
    xmlCleanupParser();
    xmlMemoryDump();
}

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    return CostMain(argc, argv, 10000,
                    {{"packfile", Prepare, WritePackFile},
                     {"devices", PrepareDevices, WritePackFile},
                     {"bare tree", Prepare, WriteBareTree},
                     {"streaming writer", Prepare, WriteStreaming}});
}
