#include "base/xml_tree.h"

namespace corvenna {

XmlTree::XmlTree() {
    const XmlGuard guard;
    document_.reset(xmlNewDoc(ToXml("1.0")));
    // A handful of names serves thousands of nodes: each is stored once, in the document's
    // dictionary, instead of once a node.
    document_->dict = xmlDictCreate();
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
