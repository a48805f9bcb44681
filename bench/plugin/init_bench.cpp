// The start of the plug-in: every configuration file, from the disk to the catalogue, its pauses
// left out, beside reading the same files alone.

#include <libxml/parser.h>

#include <cstdlib>

#include "bench/support/cost.h"
#include "bench/support/gateway_files.h"
#include "plugin/plugin.h"

namespace corvenna::bench {
namespace {

unsigned gDevices;

void Prepare(unsigned points) {
    WriteGatewayFiles(points);
    gDevices = DevicesOf(points);
}

void Start() {
    Interval_info intervals;
    if (Init(&intervals) != 0) {
        std::abort();
    }
}

void ReadFiles() {
    for (unsigned device = 0; device < gDevices; ++device) {
        xmlDocPtr document = xmlReadFile(PointFile(device), "UTF-8", XML_PARSE_NOBLANKS);
        if (document == nullptr) {
            std::abort();
        }
        xmlFreeDoc(document);
    }
}

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    return CostMain(argc, argv, 10000,
                    {{"Init", Prepare, Start}, {"xmlReadFile", Prepare, ReadFiles}});
}
