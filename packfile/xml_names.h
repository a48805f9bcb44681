#pragma once

#include <libxml/tree.h>

namespace corvenna {

/// The names of all elements and attributes of data files. Documents on several threads share it:
/// looking up a name that is there changes nothing. Made at its first use, for which the caller
/// holds no XmlGuard; lives as long as the process.
xmlDictPtr DataFileNames();

}  // namespace corvenna
