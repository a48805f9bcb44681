// Saves generated documents with hostile texts as a tree, as the pack file does it (entry by
// entry), and through libxml2's streaming writer, and counts those whose bytes or results differ
// from the tree's.
//
//     xml_differential COUNT FOLDER

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlwriter.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/xml.h"
#include "packfile/output.h"
#include "packfile/xml_lines.h"

namespace corvenna::bench {
namespace {

using Node = std::pair<std::string, std::string>;
using Document = std::vector<std::vector<Node>>;  // devices of nodes

constexpr char kTime[] = "2024-03-05 07:08:09";
constexpr char kNumber[] = "7";
/// The name that the pack file gives to a document of the time zero.
constexpr char kEntriesName[] = "/S19000100000000.xml";

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
        text += kPieces[static_cast<std::size_t>(random() % std::size(kPieces))];
    }
    return text;
}

Document RandomDocument(std::mt19937_64 &random) {
    Document document(static_cast<std::size_t>(random() % 3));
    for (auto &device : document) {
        device.resize(static_cast<std::size_t>(random() % 4));
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
    xmlNewProp(root, ToXml("logdt"), ToXml(kTime));
    for (const auto &device : document) {
        xmlNodePtr entry = xmlNewChild(root, nullptr, ToXml("device"), nullptr);
        xmlNewProp(entry, ToXml("id"), ToXml(kNumber));
        for (const Node &node : device) {
            xmlNodePtr child = xmlNewChild(entry, nullptr, ToXml("node"), nullptr);
            xmlNewProp(child, ToXml("name"), ToXml(node.first.c_str()));
            xmlNewProp(child, ToXml("unit"), ToXml(node.second.c_str()));
        }
    }
    return xmlSaveFormatFileEnc(path.c_str(), tree.get(), "UTF-8", 1);
}

int SaveByEntries(const Document &document, const std::string &folder) {
    XmlLines lines;
    XmlEntry entry("node", {"name", "unit"});
    {
        const XmlGuard guard;
        lines.Begin("data", {{"logdt", kTime}});
        for (const auto &device : document) {
            lines.Begin("device", {{"id", kNumber}});
            for (const Node &node : device) {
                lines.Entry(entry, {node.first.c_str(), node.second.c_str()});
            }
            lines.End("device");
        }
        lines.End("data");
    }
    std::vector<std::string> files;
    return SaveXml({DataKind::kRealXml, false, folder.c_str(), std::tm{}, &files}, lines.Text());
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
    count.Add(xmlTextWriterWriteAttribute(writer, ToXml("logdt"), ToXml(kTime)));
    for (const auto &device : document) {
        count.Add(xmlTextWriterStartElement(writer, ToXml("device")));
        count.Add(xmlTextWriterWriteAttribute(writer, ToXml("id"), ToXml(kNumber)));
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

/// How many documents of one way differ from the tree's.
struct Difference {
    void Count(const std::string &tree, int treeResult, const std::string &other, int result) {
        bytes += tree == other ? 0 : 1;
        results += treeResult == result ? 0 : 1;
    }
    void Print(const char *way) const {
        std::printf("%s: different bytes %lu, different results %lu\n", way, bytes, results);
    }
    unsigned long bytes = 0;
    unsigned long results = 0;
};

void Compare(unsigned long count, const std::string &folder) {
    std::mt19937_64 random(20240305);
    Difference entries;
    Difference streaming;
    for (unsigned long i = 0; i < count; ++i) {
        const Document document = RandomDocument(random);
        const int treeResult = SaveTree(document, folder + "/tree.xml");
        const std::string tree = Content(folder + "/tree.xml");
        const int byEntries = SaveByEntries(document, folder);
        entries.Count(tree, treeResult, Content(folder + kEntriesName), byEntries);
        const int streamed = SaveStreaming(document, folder + "/streamed.xml");
        streaming.Count(tree, treeResult, Content(folder + "/streamed.xml"), streamed);
    }
    std::printf("documents %lu\n", count);
    entries.Print("entry by entry");
    streaming.Print("streaming writer");
}

void CompareOnFullDevice(const std::string &folder) {
    const Document one{{{"Ua", "V"}}};
    std::remove((folder + kEntriesName).c_str());
    if (symlink("/dev/full", (folder + kEntriesName).c_str()) != 0) {
        std::perror("symlink");
        return;
    }
    std::printf("full device: tree %d, entry by entry %d, streaming writer %d\n",
                SaveTree(one, "/dev/full"), SaveByEntries(one, folder),
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
    corvenna::bench::CompareOnFullDevice(argv[2]);
    return 0;
}
