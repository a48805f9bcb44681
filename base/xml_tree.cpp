#include "base/xml_tree.h"

namespace corvenna {
XmlTree::XmlTree(xmlDictPtr names) {
    const XmlGuard guard;
    document_.reset(xmlNewDoc(ToXml("1.0")));
    // A handful of names serves thousands of nodes: each is stored once, in a dictionary, instead
    // of once a node.
    if (names == nullptr) {
        document_->dict = xmlDictCreate();
    } else {
        document_->dict = names;
        xmlDictReference(names);
    }
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
