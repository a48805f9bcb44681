// A list of the server, from the received block to its records, beside what the parsing libraries
// take to read the text at all.

#include <libxml/parser.h>
#include <rapidjson/document.h>
#ifdef HAS_CJSON
#include <cjson/cJSON.h>
#endif
#ifdef HAS_NLOHMANN
#include <nlohmann/json.hpp>
#endif
#ifdef HAS_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef HAS_TINYXML2
#include <tinyxml2.h>
#endif
#ifdef HAS_EXPAT
#include <expat.h>
#endif

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/support/cost.h"
#include "message/parse_memory.h"

namespace corvenna::bench {
namespace {

std::string gJson;
std::string gXml;

void PrepareRecalls(unsigned count) {
    gJson = R"({"node":[)";
    gXml = "<data>";
    for (unsigned i = 0; i < count; ++i) {
        gJson += i == 0 ? "" : ",";
        gJson += R"({"startdt":"2024-03-05 07:00:00","enddt":"2024-03-05 08:00:00"})";
        gXml += R"(<node startdt="2024-03-05 07:00:00" enddt="2024-03-05 08:00:00"/>)";
    }
    gJson += "]}";
    gXml += "</data>";
}

void PrepareOffers(unsigned count) {
    constexpr char kDigest[] = "0123456789abcdef0123456789abcdef";
    gJson = R"({"node":[)";
    gXml = "<data>";
    for (unsigned i = 0; i < count; ++i) {
        const std::string name = "files/update" + std::to_string(i) + ".zip";
        gJson += i == 0 ? "" : ",";
        gJson += R"({"file":")" + name + R"(","md5":")" + kDigest + R"(","type":"0","path":""})";
        gXml += R"(<node file=")" + name + R"(" md5=")" + kDigest + R"(" type="0" path=""/>)";
    }
    gJson += "]}";
    gXml += "</data>";
}

void Check(bool good) {
    if (!good) {
        std::abort();
    }
}

CParseMemory &Parser() {
    static CParseMemory parser;
    return parser;
}

void RecallsJson() {
    std::vector<recall_time_para> ranges;
    Check(Parser().ParseRecallTimeFromMemory("json", gJson.c_str(), static_cast<int>(gJson.size()),
                                             &ranges) > 0);
}

void RecallsXml() {
    std::vector<recall_time_para> ranges;
    Check(Parser().ParseRecallTimeFromMemory("xml", gXml.c_str(), static_cast<int>(gXml.size()),
                                             &ranges) == 0 &&
          !ranges.empty());
}

void OffersJson() {
    std::vector<down_file_para> files;
    Check(Parser().ParseDownFileFromMemory("json", gJson.c_str(), static_cast<int>(gJson.size()),
                                           &files) == 0 &&
          !files.empty());
}

void OffersXml() {
    std::vector<down_file_para> files;
    Check(Parser().ParseDownFileFromMemory("xml", gXml.c_str(), static_cast<int>(gXml.size()),
                                           &files) == 0 &&
          !files.empty());
}

void RapidJson() {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(gJson.c_str());
    Check(!document.HasParseError());
}

void LibXml() {
    xmlDocPtr document = xmlParseMemory(gXml.data(), static_cast<int>(gXml.size()));
    Check(document != nullptr);
    xmlFreeDoc(document);
}

#ifdef HAS_CJSON
void CJson() {
    cJSON *root = cJSON_ParseWithLength(gJson.data(), gJson.size());
    Check(root != nullptr);
    cJSON_Delete(root);
}
#endif

#ifdef HAS_NLOHMANN
void Nlohmann() {
    Check(nlohmann::json::parse(gJson).is_object());
}
#endif

#ifdef HAS_PUGIXML
void PugiXml() {
    pugi::xml_document document;
    Check(document.load_buffer(gXml.data(), gXml.size()));
}
#endif

#ifdef HAS_TINYXML2
void TinyXml2() {
    tinyxml2::XMLDocument document;
    Check(document.Parse(gXml.data(), gXml.size()) == tinyxml2::XML_SUCCESS);
}
#endif

#ifdef HAS_EXPAT
void Expat() {
    XML_Parser parser = XML_ParserCreate(nullptr);
    Check(XML_Parse(parser, gXml.data(), static_cast<int>(gXml.size()), 1) == XML_STATUS_OK);
    XML_ParserFree(parser);
}
#endif

}  // namespace
}  // namespace corvenna::bench

int main(int argc, char **argv) {
    using namespace corvenna::bench;
    return CostMain(argc, argv, 1000,
                    {
                        {"recalls json", PrepareRecalls, RecallsJson},
                        {"recalls xml", PrepareRecalls, RecallsXml},
                        {"offers json", PrepareOffers, OffersJson},
                        {"offers xml", PrepareOffers, OffersXml},
                        {"RapidJSON recalls", PrepareRecalls, RapidJson},
                        {"RapidJSON offers", PrepareOffers, RapidJson},
                        {"libxml2 recalls", PrepareRecalls, LibXml},
                        {"libxml2 offers", PrepareOffers, LibXml},
#ifdef HAS_CJSON
                        {"cJSON recalls", PrepareRecalls, CJson},
                        {"cJSON offers", PrepareOffers, CJson},
#endif
#ifdef HAS_NLOHMANN
                        {"nlohmann-json recalls", PrepareRecalls, Nlohmann},
                        {"nlohmann-json offers", PrepareOffers, Nlohmann},
#endif
#ifdef HAS_PUGIXML
                        {"pugixml recalls", PrepareRecalls, PugiXml},
                        {"pugixml offers", PrepareOffers, PugiXml},
#endif
#ifdef HAS_TINYXML2
                        {"tinyxml2 recalls", PrepareRecalls, TinyXml2},
                        {"tinyxml2 offers", PrepareOffers, TinyXml2},
#endif
#ifdef HAS_EXPAT
                        {"expat recalls", PrepareRecalls, Expat},
                        {"expat offers", PrepareOffers, Expat},
#endif
                    });
}
