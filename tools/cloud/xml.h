#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>

#include "base/handle.h"

namespace corvenna::cloud {

/// Owns a document.
using XmlDocument = std::unique_ptr<xmlDoc, FreedBy<xmlFreeDoc>>;

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

}  // namespace corvenna::cloud
