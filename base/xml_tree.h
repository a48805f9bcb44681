#pragma once

#include <initializer_list>

#include "base/xml.h"

namespace corvenna {

// Whatever builds a document throws std::bad_alloc when memory is short, so that no document is
// ever saved that lacks a part: the tree is freed on the way, the caller's call fails as a whole.

/// A dictionary of all names of some documents: a handful of names serves thousands of nodes, and
/// each is then stored once for all. Documents on several threads share it, for looking up a name
/// that is there changes nothing; a name that is missing would be added while others read. Lives as
/// long as the process. The caller holds no XmlGuard.
xmlDictPtr MakeXmlNames(std::initializer_list<const char *> names);

/// A document with the root "data", built in memory. Takes the XmlGuard itself to make and to free
/// the document; whoever adds to it or saves it holds one meanwhile.
class XmlTree {
public:
    /// @param names holds every name of the document.
    explicit XmlTree(xmlDictPtr names);
    ~XmlTree();
    XmlTree(const XmlTree &) = delete;
    XmlTree &operator=(const XmlTree &) = delete;

    xmlDocPtr Document() const { return document_.get(); }
    xmlNodePtr Root() const { return root_; }

    /// Frees the document early; the tree is of no use afterwards.
    void Free();

private:
    XmlTree() = default;

    XmlDocument document_;
    xmlNodePtr root_ = nullptr;
};

/// Adds an empty element behind the children of another. Never null.
xmlNodePtr AddElement(xmlNodePtr parent, const char *name);

/// Adds an attribute behind those of an element. The text is raw: saving escapes it.
void AddAttribute(xmlNodePtr element, const char *name, const char *text);

}  // namespace corvenna
