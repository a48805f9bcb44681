#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "base/handle.h"
#include "base/xml_document.h"
#include "base/xml_lock.h"
#include "base/xml_thread.h"

namespace corvenna {

// xmlCleanupParser frees state (thread keys, dictionaries, encodings) that any libxml2 call on
// another thread may be using. Every use of libxml2 in this project therefore happens under an
// XmlGuard, and the clean-up waits until no guard is held. A guard is never held across a pause,
// and never taken twice by one thread.

/// Held around every parse, build and save. Meanwhile libxml2 is silent on this thread and has the
/// settings that it begins with; the host's own handlers and settings are in place again
/// afterwards.
class XmlGuard {
public:
    /// Throws std::bad_alloc.
    XmlGuard();

    /// Whether libxml2 found too little memory since the guard was taken. What it parsed or saved
    /// may then be cut, whatever its result says.
    bool MemoryWasShort() const { return silence_.MemoryWasShort(); }

private:
    class Ready {
    public:
        Ready();
    };

    Ready ready_;
    XmlSharedLock lock_;
    OwnXmlThreadState state_;
    XmlSilence silence_;
    XmlSettings settings_;
};

/// Runs libxml2's global clean-up while no XmlGuard is held anywhere, and makes the library ready
/// again before anyone goes on. The caller must not hold a guard.
void CleanUpXml();

/// Frees a document, when there is one. Never fails. The caller must not hold a guard.
void FreeDocument(XmlDocument &document);

/// Whether there is a document after all where libxml2 found none: a shortage of memory that does
/// not last shows only when the same is read again. The caller holds a guard.
/// @param read reads it: `xmlDocPtr read(xmlParserCtxtPtr)`.
template <class Read>
bool IsHiddenByShortMemory(Read read) {
    const XmlSilence silence;
    const std::unique_ptr<xmlParserCtxt, FreedBy<xmlFreeParserCtxt>> context(xmlNewParserCtxt());
    if (context == nullptr) {
        return true;
    }
    const XmlDocument document(read(context.get()));
    return document != nullptr || silence.MemoryWasShortFirst();
}

/// What libxml2 parsed, when it is whole; null when there is no document. Throws std::bad_alloc
/// when that cannot be told, for then memory was short: what is parsed may be cut, and what is not
/// parsed may be in order.
template <class ReadAgain>
XmlDocument WholeDocument(xmlDocPtr parsed, const XmlGuard &guard, ReadAgain readAgain) {
    XmlDocument document(parsed);
    if (document != nullptr ? guard.MemoryWasShort() : IsHiddenByShortMemory(readAgain)) {
        throw std::bad_alloc();
    }
    return document;
}

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
    return name != nullptr && std::strcmp(FromXml(name), expected) == 0;
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
    AttributeText(const AttributeText &) = delete;
    AttributeText &operator=(const AttributeText &) = delete;
    const char *Get() const { return text_; }

private:
    void Copy(const xmlAttr *attribute);

    std::string copy_;
    const char *text_ = "";
};

}  // namespace corvenna
