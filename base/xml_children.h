#pragma once

#include <libxml/tree.h>

#include "base/xml.h"

namespace corvenna {

/// Calls visit(child) for each child element of that name, in document order.
template <class Visit>
void ForEachChild(const xmlNode *parent, const char *name, Visit visit) {
    for (const xmlNode *child = parent->children; child != nullptr; child = child->next) {
        if (IsElement(child, name)) {
            visit(child);
        }
    }
}

}  // namespace corvenna
