#include "base/xml.h"

#include <mutex>

namespace corvenna {
namespace {

std::shared_mutex &XmlMutex() {
    // Never destroyed: documents are freed by destructors that run while the process ends.
    static auto *mutex = new std::shared_mutex;
    return *mutex;
}

bool IsOnePieceOfText(const xmlNode *node) {
    return node != nullptr && node->type == XML_TEXT_NODE && node->next == nullptr &&
           node->content != nullptr;
}

}  // namespace

XmlGuard::XmlGuard() : lock_(XmlMutex()) {}

void CleanUpXml() {
    const std::unique_lock<std::shared_mutex> alone(XmlMutex());
    xmlCleanupParser();
    xmlMemoryDump();
    xmlInitParser();
}

void FreeXmlDocument::operator()(_xmlDoc *document) const {
    xmlFreeDoc(document);
}

bool IsElement(const xmlNode *node, const char *name) {
    return node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, ToXml(name)) != 0;
}

AttributeText::AttributeText(const xmlAttr *attribute) : text_("") {
    if (IsOnePieceOfText(attribute->children)) {
        text_ = FromXml(attribute->children->content);
        return;
    }
    copy_.reset(xmlNodeListGetString(attribute->doc, attribute->children, 1));
    if (copy_ != nullptr) {
        text_ = FromXml(copy_.get());
    }
}

}  // namespace corvenna
