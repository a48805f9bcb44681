#pragma once

#include "base/xml.h"

namespace corvenna {

/// A document with the root "data", built in memory. Takes the XmlGuard itself to make and to free
/// the document; whoever adds to it or saves it holds one meanwhile.
class XmlTree {
public:
    /// @param names a dictionary that holds every name of the document, so that the document adds
    ///              nothing to it; may be shared by documents on several threads. Null: the
    ///              document has a dictionary of its own.
    explicit XmlTree(xmlDictPtr names = nullptr);
    ~XmlTree();
    XmlTree(const XmlTree &) = delete;
    XmlTree &operator=(const XmlTree &) = delete;

    xmlDocPtr Document() const { return document_.get(); }
    xmlNodePtr Root() const { return root_; }

    /// Frees the document early; the tree is of no use afterwards.
    void Free();

private:
    XmlDocument document_;
    xmlNodePtr root_ = nullptr;
};

/// Adds an empty element behind the children of another.
inline xmlNodePtr AddElement(xmlNodePtr parent, const char *name) {
    return xmlNewChild(parent, nullptr, ToXml(name), nullptr);
}

/// Adds an attribute behind those of an element. The text is raw: saving escapes it.
inline void AddAttribute(xmlNodePtr element, const char *name, const char *text) {
    xmlNewProp(element, ToXml(name), ToXml(text));
}

}  // namespace corvenna
