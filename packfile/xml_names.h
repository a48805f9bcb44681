#pragma once

#include <libxml/tree.h>

namespace corvenna {

/// The names of all elements and attributes of data files. The caller holds no XmlGuard.
xmlDictPtr DataFileNames();

}  // namespace corvenna
