#include "base/xml.h"
#include "tools/cloud/document.h"

namespace corvenna::cloud {
namespace {

void ReadElement(xmlNode *node, Element &element, int depth) {
    if (depth > kDeepestElement) {
        throw BadDocument("nested too deep");
    }
    for (const xmlAttr *attribute = node->properties; attribute != nullptr;
         attribute = attribute->next) {
        const XmlText value(xmlNodeListGetString(node->doc, attribute->children, 1));
        element.AddText(FromXml(attribute->name), value ? FromXml(value.get()) : "", false);
    }
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) {
            ReadElement(child, element.AddChild(FromXml(child->name)), depth + 1);
        }
    }
}

}  // namespace

Element ParseXml(std::string_view text) {
    // A document type could define entities that grow; no gateway sends one.
    if (text.find("<!DOCTYPE") != std::string_view::npos) {
        throw BadDocument("a document type is not accepted");
    }
    const XmlDocument document(xmlReadMemory(
        text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA));
    xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root == nullptr) {
        const xmlError *error = xmlGetLastError();
        throw BadDocument("no XML" + (error != nullptr ? " at line " + std::to_string(error->line)
                                                       : std::string()));
    }
    if (std::string_view(FromXml(root->name)) != "data") {
        throw BadDocument("the root element is not \"data\"");
    }
    Element element(false);
    ReadElement(root, element, 1);
    return element;
}

}  // namespace corvenna::cloud
