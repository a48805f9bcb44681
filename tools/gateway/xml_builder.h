#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>

#include "base/handle.h"

namespace corvenna::gateway {

/// An element of a document that is being built; the document owns it.
class XmlElement {
public:
    explicit XmlElement(xmlNode *node) : node_(node) {}

    XmlElement Child(const char *name) const;
    /// Throws std::runtime_error for what would make a file that no parser reads: control
    /// characters and broken UTF-8.
    const XmlElement &Set(const char *name, const std::string &value) const;
    const XmlElement &Set(const char *name, int value) const;

private:
    xmlNode *node_;
};

/// A document that is being built. Where memory is lacking std::bad_alloc is thrown.
class XmlBuilder {
public:
    explicit XmlBuilder(const char *rootName);

    XmlElement Root() const { return XmlElement(root_); }
    /// The document as it is written to a file, indented.
    std::string Text() const;

private:
    std::unique_ptr<xmlDoc, FreedBy<xmlFreeDoc>> document_;
    xmlNode *root_;
};

}  // namespace corvenna::gateway
