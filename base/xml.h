#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstring>
#include <memory>
#include <shared_mutex>

#include "base/xml_document.h"

namespace corvenna {

// xmlCleanupParser frees state (thread keys, dictionaries, encodings) that any libxml2 call on
// another thread may be using. Every use of libxml2 in this project therefore happens under an
// XmlGuard, and the clean-up waits until no guard is held. A guard is never held across a pause,
// and never taken twice by one thread.

/// Held around every parse, build, save and free.
class XmlGuard {
public:
    XmlGuard();

private:
    std::shared_lock<std::shared_mutex> lock_;
};

/// Runs libxml2's global clean-up while no XmlGuard is held anywhere, and makes the library ready
/// again before anyone goes on. The caller must not hold a guard.
void CleanUpXml();

/// Owns a text that libxml2 allocated.
struct FreedByXml {
    void operator()(xmlChar *text) const { xmlFree(text); }
};
using XmlText = std::unique_ptr<xmlChar, FreedByXml>;

inline const xmlChar *ToXml(const char *text) {
    return reinterpret_cast<const xmlChar *>(text);
}
inline const char *FromXml(const xmlChar *text) {
    return reinterpret_cast<const char *>(text);
}

inline bool IsNamed(const xmlChar *name, const char *expected) {
    return std::strcmp(FromXml(name), expected) == 0;
}

/// Whether a node is an element of that name.
inline bool IsElement(const xmlNode *node, const char *name) {
    return node->type == XML_ELEMENT_NODE && IsNamed(node->name, name);
}

/// The value of an attribute, "" when it is empty. Points into the document where the value is one
/// piece of text, which is the rule; otherwise owns a copy with the document's entities resolved,
/// cut at 64 KiB. Lives no longer than the document.
class AttributeText {
public:
    explicit AttributeText(const xmlAttr *attribute) {
        const xmlNode *first = attribute->children;
        if (first != nullptr && first->type == XML_TEXT_NODE && first->next == nullptr &&
            first->content != nullptr) {
            text_ = FromXml(first->content);
        } else {
            Copy(attribute);
        }
    }
    const char *Get() const { return text_; }

private:
    void Copy(const xmlAttr *attribute);

    XmlText copy_;
    const char *text_ = "";
};

}  // namespace corvenna
