// One point file, from the disk to the catalogue, beside what the XML library takes to read it at
// all. Everything made is kept, so that a job pays for making alone and what it leaves on the heap
// shows.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

#include "base/xml.h"
#include "bench/support/cost.h"
#include "config/channel_set.h"
#include "config/data_id.h"

/// libxml2 seeds the hash of its dictionaries with the second of its first use, and how often their
/// tables grow depends on the seed (7 % of the peak). One second makes one figure of it.
extern "C" [[gnu::visibility("default")]] std::time_t time(std::time_t *now) noexcept {
    constexpr std::time_t kSecond = 1;
    if (now != nullptr) {
        *now = kSecond;
    }
    return kSecond;
}

namespace corvenna::bench {
namespace {

constexpr char kPath[] = "/tmp/points.xml";
constexpr unsigned kChannel = 1;
constexpr unsigned kSlave = 3;

unsigned gSize;

const char *const kUnits[] = {"V", "A", "kW", "kWh", "Hz"};

void Prepare(unsigned size) {
    gSize = size;
    std::FILE *file = std::fopen(kPath, "w");
    std::fprintf(file,
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<DevConfig>\n  <NodeProperty>\n"
                 "    <AI Num=\"%u\">\n",
                 size);
    for (unsigned i = 0; i < size; ++i) {
        std::fprintf(file, "      <Node Id=\"%u\" Name=\"Phase voltage %u\" EUUnits=\"%s\"/>\n", i,
                     i, kUnits[i % 5]);
    }
    std::fputs("    </AI>\n  </NodeProperty>\n</DevConfig>\n", file);
    if (std::fclose(file) != 0) {
        std::abort();
    }
}

void ReadXml() {
    static std::vector<XmlDocument> kept;
    kept.emplace_back(xmlReadFile(kPath, "UTF-8", XML_PARSE_NOBLANKS));
}

void ReadAndFreeXml() {
    const XmlDocument document(xmlReadFile(kPath, "UTF-8", XML_PARSE_NOBLANKS));
}

void Load() {
    static std::vector<std::unique_ptr<CChannelSet>> kept;
    kept.push_back(std::make_unique<CChannelSet>());
    ST_DEV_ATTR dev{};
    std::strcpy(dev.Name, kPath);
    dev.ChannelNo = kChannel;
    dev.SlaveId = kSlave;
    if (kept.back()->LoadDevPointAttr(dev) != 0) {
        std::abort();
    }
}

/// The records in their two maps and nothing else.
void FillMaps() {
    struct Maps {
        MAP_CHANNEL_POINT byChannel;
        MAP_POINTID_ATTR byId;
    };
    static std::vector<std::unique_ptr<Maps>> kept;
    kept.push_back(std::make_unique<Maps>());
    ST_POINTID_ATTR point{};
    for (unsigned i = 0; i < gSize; ++i) {
        point.db_link = DataId(kChannel, kSlave, 0, i);
        kept.back()->byChannel[kChannel][kSlave][point.db_link] = point;
        kept.back()->byId[point.db_link] = point;
    }
}

/// How one would write it first: every text of an attribute copied, every name looked for, every
/// record put where a search for its key ends.
void LoadStraightforward() {
    struct Maps {
        MAP_CHANNEL_POINT byChannel;
        MAP_POINTID_ATTR byId;
    };
    static std::vector<std::unique_ptr<Maps>> kept;
    kept.push_back(std::make_unique<Maps>());
    const XmlDocument document(xmlReadFile(kPath, "UTF-8", XML_PARSE_NOBLANKS));
    const xmlNode *type = xmlDocGetRootElement(document.get())->children->children;
    ST_POINTID_ATTR point{};
    point.GroupNo = kChannel;
    point.DevId = kSlave;
    for (xmlNode *node = type->children; node != nullptr; node = node->next) {
        const XmlText id(xmlGetProp(node, ToXml("Id")));
        const XmlText name(xmlGetProp(node, ToXml("Name")));
        const XmlText unit(xmlGetProp(node, ToXml("EUUnits")));
        const auto number = static_cast<unsigned>(std::strtol(FromXml(id.get()), nullptr, 10));
        point.NodeId = static_cast<std::uint16_t>(number);
        point.db_link = DataId(kChannel, kSlave, 0, number);
        std::snprintf(point.Name, 127, "%s", FromXml(name.get()));
        std::snprintf(point.EUUnits, 127, "%s", FromXml(unit.get()));
        kept.back()->byChannel[kChannel][kSlave][point.db_link] = point;
        kept.back()->byId[point.db_link] = point;
    }
}

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    return CostMain(argc, argv, 1000,
                    {{"xmlReadFile", Prepare, ReadXml},
                     {"xmlReadFile_and_xmlFreeDoc", Prepare, ReadAndFreeXml},
                     {"load", Prepare, Load},
                     {"straightforward", Prepare, LoadStraightforward},
                     {"maps", Prepare, FillMaps}});
}
