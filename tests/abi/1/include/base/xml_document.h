#pragma once

#include <memory>

struct _xmlDoc;

namespace corvenna {

struct FreeXmlDocument {
    void operator()(_xmlDoc *document) const;
};

/// Owns a libxml2 document. Resetting or destroying one that is not null needs an XmlGuard
/// (base/xml.h).
using XmlDocument = std::unique_ptr<_xmlDoc, FreeXmlDocument>;

}  // namespace corvenna
