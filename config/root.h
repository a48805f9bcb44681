#pragma once

#include <libxml/tree.h>

#include "base/xml.h"

namespace corvenna {

/// What a loader logs, at ERROR, about a document that it cannot use.
struct RootMessages {
    const char *missing;    ///< no document is held
    const char *empty;      ///< no root element
    const char *wrongRoot;  ///< another root element
};

/// Parses a configuration file; logs nothing. Needs an XmlGuard.
/// @return null when the file cannot be parsed.
XmlDocument ParseConfiguration(const char *path);

/// The root element of a document when it has the right name. Otherwise logs, and frees the
/// document and clears the handle. Needs an XmlGuard.
/// @param document may hold null.
const xmlNode *CheckRoot(XmlDocument &document, const char *name, const RootMessages &messages);

}  // namespace corvenna
