#pragma once

#include <new>

#include "base/xml_document.h"

struct _xmlNode;

namespace corvenna {

class XmlGuard;

/// What a loader wants of a document's root, and what it logs, at ERROR, about another.
struct RootRule {
    const char *name;
    const char *missing;    ///< no document is held
    const char *empty;      ///< no root element
    const char *wrongRoot;  ///< another root element
};

/// Logs that memory was short. @return -1.
int OutOfMemory();

/// Runs a step of a loader. @return what it returns, -1 when memory is short there (logged).
template <class Step>
int UnlessOutOfMemory(Step step) {
    try {
        return step();
    } catch (const std::bad_alloc &) {
        return OutOfMemory();
    }
}

/// The parsed file that a loader holds, or none. Freed at the end. A file for which memory is short
/// is never held in part: parsing it throws std::bad_alloc.
class ConfigurationDocument {
public:
    ConfigurationDocument() = default;
    ~ConfigurationDocument() { Close(); }
    ConfigurationDocument(const ConfigurationDocument &) = delete;
    ConfigurationDocument &operator=(const ConfigurationDocument &) = delete;

    /// Runs a step that uses the document and takes the XmlGuard itself. When memory is short
    /// there, the document is freed, too.
    template <class Step>
    int Attempt(Step step) {
        try {
            return step();
        } catch (const std::bad_alloc &) {
            Close();
            return OutOfMemory();
        }
    }

    /// Parses a file in place of the one held, which is none when the file cannot be parsed. Logs
    /// nothing.
    void Parse(const char *path, const XmlGuard &guard);

    /// Parses likewise and switches blanks off for the library.
    /// @return whether a document is held now.
    bool Open(const char *path, const XmlGuard &guard);

    /// The root element, when it is as the rule wants it. Otherwise logs why not, and frees the
    /// document.
    const _xmlNode *Root(const RootRule &rule, const XmlGuard &guard);

    /// Frees the document.
    void Reject(const XmlGuard &guard);

    /// Frees the document; no XmlGuard is held.
    /// @return 0, -1 when there was none.
    int Close();

    /// @return 0 when a document is held, -1 when not.
    int IsOpen() const { return document_ != nullptr ? 0 : -1; }

private:
    XmlDocument document_;
};

/// A path as messages show it.
inline const char *Shown(const char *path) {
    return path != nullptr ? path : "";
}

}  // namespace corvenna
