#pragma once

#include <libxml/tree.h>

#include <cstddef>

#include "base/xml.h"

namespace corvenna {

/// A row of a loader's table: an attribute's name and what its value does to the record. Setters
/// and not pointers to members, because the records are packed.
template <class Record>
struct Attribute {
    const char *name;
    void (*set)(Record &record, const char *value);
};

/// A row for an attribute whose absence means something too.
template <class Record>
struct DefaultedAttribute {
    const char *name;
    void (*set)(Record &record, const char *value);
    void (*absent)(Record &record);
};

/// Follows the element's own order of attributes; unknown ones are passed over, and what is not
/// there leaves the record alone.
template <class Record, std::size_t Rows>
void ReadAttributes(const xmlNode *element, const Attribute<Record> (&rows)[Rows], Record &record) {
    for (const xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        for (const Attribute<Record> &row : rows) {
            if (IsNamed(attribute->name, row.name)) {
                row.set(record, AttributeText(attribute).Get());
                break;
            }
        }
    }
}

/// @return null when the element does not carry the attribute.
inline const xmlAttr *FindAttribute(const xmlNode *element, const char *name) {
    const xmlAttr *attribute = element->properties;
    while (attribute != nullptr && !IsNamed(attribute->name, name)) {
        attribute = attribute->next;
    }
    return attribute;
}

/// Follows the order of the rows, each either set or absent.
template <class Record, std::size_t Rows>
void ReadWithDefaults(const xmlNode *element, const DefaultedAttribute<Record> (&rows)[Rows],
                      Record &record) {
    for (const DefaultedAttribute<Record> &row : rows) {
        const xmlAttr *attribute = FindAttribute(element, row.name);
        if (attribute != nullptr) {
            row.set(record, AttributeText(attribute).Get());
        } else {
            row.absent(record);
        }
    }
}

}  // namespace corvenna
