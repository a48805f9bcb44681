// Saves generated documents with hostile texts twice, as a tree and through libxml2's streaming
// writer, and counts those whose bytes or results differ.
//
//     xml_differential COUNT FOLDER

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/xml.h"

namespace corvenna::bench {
namespace {

using Node = std::pair<std::string, std::string>;
using Document = std::vector<std::vector<Node>>;  // devices of nodes

std::string RandomText(std::mt19937_64 &random) {
    static const char *const kPieces[] = {"a",
                                          "Z",
                                          " ",
                                          "\"",
                                          "<",
                                          "&",
                                          "'",
                                          ">",
                                          "\t",
                                          "\n",
                                          "\r",
                                          "\x01",
                                          "\x1f",
                                          "\x7f",
                                          "\xff",
                                          "]]>",
                                          "\x80",
                                          "\xc3",
                                          "\xe7\x94",
                                          "\xf0\x9f",
                                          "\xc0\x80",
                                          "\xed\xa0\x80",
                                          "&amp;",
                                          "\xc3\xa9",
                                          "\xe7\x94\xb5",
                                          "\xf0\x9f\x94\x8c",
                                          "\xf4\x90\x80\x80"};
    std::string text;
    for (auto pieces = random() % 6; pieces > 0; --pieces) {
        text += kPieces[random() % std::size(kPieces)];
    }
    return text;
}

Document RandomDocument(std::mt19937_64 &random) {
    Document document(random() % 3);
    for (auto &device : document) {
        device.resize(random() % 4);
        for (Node &node : device) {
            node = {RandomText(random), RandomText(random)};
        }
    }
    return document;
}

int SaveTree(const Document &document, const std::string &path) {
    const XmlDocument tree(xmlNewDoc(ToXml("1.0")));
    xmlNodePtr root = xmlNewNode(nullptr, ToXml("data"));
    xmlDocSetRootElement(tree.get(), root);
    for (const auto &device : document) {
        xmlNodePtr entry = xmlNewChild(root, nullptr, ToXml("device"), nullptr);
        for (const Node &node : device) {
            xmlNodePtr child = xmlNewChild(entry, nullptr, ToXml("node"), nullptr);
            xmlNewProp(child, ToXml("name"), ToXml(node.first.c_str()));
            xmlNewProp(child, ToXml("unit"), ToXml(node.second.c_str()));
        }
    }
    return xmlSaveFormatFileEnc(path.c_str(), tree.get(), "UTF-8", 1);
}

/// The sum of the byte counts that the writer's calls return, -1 when one of them fails.
class ByteCount {
public:
    void Add(int written) {
        failed_ = failed_ || written < 0;
        total_ += written;
    }
    int Result() const { return failed_ ? -1 : total_; }

private:
    int total_ = 0;
    bool failed_ = false;
};

int SaveStreaming(const Document &document, const std::string &path) {
    xmlTextWriterPtr writer = xmlNewTextWriterFilename(path.c_str(), 0);
    if (writer == nullptr) {
        return -1;
    }
    xmlTextWriterSetIndent(writer, 1);
    xmlTextWriterSetIndentString(writer, ToXml("  "));
    ByteCount count;
    count.Add(xmlTextWriterStartDocument(writer, "1.0", "UTF-8", nullptr));
    count.Add(xmlTextWriterStartElement(writer, ToXml("data")));
    for (const auto &device : document) {
        count.Add(xmlTextWriterStartElement(writer, ToXml("device")));
        for (const Node &node : device) {
            count.Add(xmlTextWriterStartElement(writer, ToXml("node")));
            count.Add(
                xmlTextWriterWriteAttribute(writer, ToXml("name"), ToXml(node.first.c_str())));
            count.Add(
                xmlTextWriterWriteAttribute(writer, ToXml("unit"), ToXml(node.second.c_str())));
            count.Add(xmlTextWriterEndElement(writer));
        }
        count.Add(xmlTextWriterEndElement(writer));
    }
    count.Add(xmlTextWriterEndDocument(writer));
    xmlFreeTextWriter(writer);
    return count.Result();
}

std::string Content(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void Compare(unsigned long count, const std::string &folder) {
    std::mt19937_64 random(20240305);
    unsigned long bytes = 0;
    unsigned long results = 0;
    for (unsigned long i = 0; i < count; ++i) {
        const Document document = RandomDocument(random);
        const int tree = SaveTree(document, folder + "/tree.xml");
        const int streamed = SaveStreaming(document, folder + "/streamed.xml");
        bytes += Content(folder + "/tree.xml") == Content(folder + "/streamed.xml") ? 0 : 1;
        results += tree == streamed ? 0 : 1;
    }
    std::printf("documents %lu, different bytes %lu, different results %lu\n", count, bytes,
                results);
    const Document one{{{"Ua", "V"}}};
    std::printf("full device: tree %d, streaming writer %d\n", SaveTree(one, "/dev/full"),
                SaveStreaming(one, "/dev/full"));
}

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: xml_differential COUNT FOLDER\n");
        return 2;
    }
    corvenna::bench::Compare(std::strtoul(argv[1], nullptr, 10), argv[2]);
    return 0;
}
