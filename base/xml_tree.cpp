#include "base/xml_tree.h"

namespace corvenna {
namespace {

constexpr const char *kNames[] = {"data", "logdt",  "device", "id",   "channel",         "node",
                                  "name", "dblink", "value",  "unit", "thredhold_value", "type",
                                  "flag"};

/// A handful of names serves thousands of nodes, so each is stored once instead of once a node.
/// Documents on several threads share the dictionary: it holds every name from the start, and
/// looking up a name that is there changes nothing. Needs an XmlGuard; lives as long as the
/// process.
xmlDictPtr SharedNames() {
    static xmlDictPtr names = [] {
        xmlDictPtr dictionary = xmlDictCreate();
        for (const char *name : kNames) {
            xmlDictLookup(dictionary, ToXml(name), -1);
        }
        return dictionary;
    }();
    return names;
}

}  // namespace

XmlTree::XmlTree() {
    const XmlGuard guard;
    document_.reset(xmlNewDoc(ToXml("1.0")));
    document_->dict = SharedNames();
    xmlDictReference(document_->dict);
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
