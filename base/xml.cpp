#include "base/xml.h"

#include <mutex>

namespace corvenna {
namespace {

std::shared_mutex &XmlMutex() {
    // Never destroyed: documents are freed by destructors that run while the process ends.
    static auto *mutex = new std::shared_mutex;
    return *mutex;
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

void AttributeText::Copy(const xmlAttr *attribute) {
    copy_.reset(xmlNodeListGetString(attribute->doc, attribute->children, 1));
    if (copy_ != nullptr) {
        text_ = FromXml(copy_.get());
    }
}

}  // namespace corvenna
