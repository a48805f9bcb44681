#include "base/xml_tree.h"

namespace corvenna {

xmlDictPtr MakeXmlNames(std::initializer_list<const char *> names) {
    const XmlGuard guard;
    xmlDictPtr dictionary = xmlDictCreate();
    for (const char *name : names) {
        xmlDictLookup(dictionary, ToXml(name), -1);
    }
    return dictionary;
}

XmlTree::XmlTree(xmlDictPtr names) {
    const XmlGuard guard;
    document_.reset(xmlNewDoc(ToXml("1.0")));
    document_->dict = names;
    xmlDictReference(names);
    root_ = xmlNewNode(nullptr, ToXml("data"));
    xmlDocSetRootElement(document_.get(), root_);
}

XmlTree::~XmlTree() {
    if (document_ != nullptr) {
        Free();
    }
}

void XmlTree::Free() {
    const XmlGuard guard;
    document_.reset();
    root_ = nullptr;
}

}  // namespace corvenna
