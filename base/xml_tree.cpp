#include "base/xml_tree.h"

#include <libxml/dict.h>

#include <memory>
#include <new>

#include "base/handle.h"

namespace corvenna {
namespace {

using XmlDictionary = std::unique_ptr<xmlDict, FreedBy<xmlDictFree>>;

void Require(bool enoughMemory) {
    if (!enoughMemory) {
        throw std::bad_alloc();
    }
}

/// Whether an attribute has its name and the text that it was given, which may be null.
bool IsWhole(const xmlAttr *attribute, const char *text) {
    if (attribute == nullptr || attribute->name == nullptr) {
        return false;
    }
    const xmlNode *value = attribute->children;
    return text == nullptr || (value != nullptr && value->content != nullptr);
}

}  // namespace

xmlDictPtr MakeXmlNames(std::initializer_list<const char *> names) {
    const XmlGuard guard;
    XmlDictionary dictionary(xmlDictCreate());
    Require(dictionary != nullptr);
    for (const char *name : names) {
        Require(xmlDictLookup(dictionary.get(), ToXml(name), -1) != nullptr);
    }
    return dictionary.release();
}

// By way of the empty tree, so that a failure on the way frees what is there.
XmlTree::XmlTree(xmlDictPtr names) : XmlTree() {
    const XmlGuard guard;
    document_.reset(xmlNewDoc(ToXml("1.0")));
    Require(document_ != nullptr);
    Require(xmlDictReference(names) == 0);
    document_->dict = names;
    root_ = xmlNewNode(nullptr, ToXml("data"));
    Require(root_ != nullptr);
    xmlDocSetRootElement(document_.get(), root_);
    Require(root_->name != nullptr);
}

XmlTree::~XmlTree() {
    Free();
}

void XmlTree::Free() {
    FreeDocument(document_);
    root_ = nullptr;
}

xmlNodePtr AddElement(xmlNodePtr parent, const char *name) {
    xmlNodePtr element = xmlNewChild(parent, nullptr, ToXml(name), nullptr);
    Require(element != nullptr);
    return element;
}

void AddAttribute(xmlNodePtr element, const char *name, const char *text) {
    const xmlAttr *attribute = xmlNewProp(element, ToXml(name), ToXml(text));
    Require(IsWhole(attribute, text));
}

}  // namespace corvenna
