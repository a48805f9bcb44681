#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "base/xml_document.h"
#include "base/xml_output.h"

namespace corvenna {

// A data file's XML is spelt line by line: the bytes are those that libxml2 saves for the tree of
// the whole document, which never exists. Whatever finds no memory throws std::bad_alloc.

/// An empty element with attributes that differ in their texts alone: made once, saved again and
/// again. Whoever makes or frees one holds no XmlGuard.
class XmlEntry {
public:
    XmlEntry(const char *element, std::initializer_list<const char *> attributes);
    ~XmlEntry();
    XmlEntry(const XmlEntry &) = delete;
    XmlEntry &operator=(const XmlEntry &) = delete;

    /// Saves it with these texts, one for each attribute, in their order. They are raw: saving
    /// escapes them. The caller holds an XmlGuard.
    void Save(std::initializer_list<const char *> texts, XmlOutput &output, std::size_t level);

private:
    XmlDocument document_;
};

/// An attribute whose text needs no escaping.
struct PlainAttribute {
    std::string_view name;
    std::string_view text;
};

/// A document on its way. Whoever makes or frees one holds no XmlGuard, whoever calls an operation
/// does.
class XmlLines {
public:
    /// Begins an element; what follows until its End lies in it.
    void Begin(std::string_view element, std::initializer_list<PlainAttribute> attributes);
    void Entry(XmlEntry &entry, std::initializer_list<const char *> texts);
    void End(std::string_view element);

    /// The document, when its root has ended. Needs no guard.
    TextPieces &Text() { return output_.Text(); }

private:
    void EndTag();

    XmlOutput output_;
    std::size_t level_ = 0;
    bool tagIsOpen_ = false;  ///< of the element begun last, until something lies in it
};

}  // namespace corvenna
