#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>

#include "base/text.h"
#include "base/xml.h"

namespace corvenna {

/// A text of a record, and how much of a value it takes, see CopyText. An offset and not a pointer
/// to a member, because the records are packed.
struct TextPlace {
    std::uint16_t offset;
    std::uint16_t limit;
};

template <std::size_t Size, std::size_t Limit>
constexpr TextPlace PlaceOfText(std::size_t offset) {
    static_assert(0 < Limit && Limit <= Size, "the limit must fit the field");
    return {static_cast<std::uint16_t>(offset), Limit};
}

/// A row of a loader's table: an attribute's name and what its value does to the record: it is
/// copied to a text, or a setter looks at it.
template <class Record>
class Attribute {
public:
    using Setter = void (*)(Record &record, const char *value);

    constexpr Attribute(const char *name, TextPlace text) : name_(name), text_(text) {}
    constexpr Attribute(const char *name, Setter set) : name_(name), set_(set) {}

    const char *Name() const { return name_; }

    void Set(Record &record, const char *value) const {
        if (set_ != nullptr) {
            set_(record, value);
        } else {
            CopyText(reinterpret_cast<char *>(&record) + text_.offset, text_.limit, value);
        }
    }

private:
    const char *name_;
    Setter set_ = nullptr;
    TextPlace text_{};
};

/// A row for an attribute that counts as written with a value of its own where it is absent.
template <class Record>
struct DefaultedAttribute {
    Attribute<Record> attribute;
    const char *absent;
};

/// Follows the element's own order of attributes; unknown ones are passed over, and what is not
/// there leaves the record alone.
template <class Record, std::size_t Rows>
void ReadAttributes(const xmlNode *element, const Attribute<Record> (&rows)[Rows], Record &record) {
    for (const xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        for (const Attribute<Record> &row : rows) {
            if (IsNamed(attribute->name, row.Name())) {
                row.Set(record, AttributeText(attribute).Get());
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

/// Follows the order of the rows.
template <class Record, std::size_t Rows>
void ReadWithDefaults(const xmlNode *element, const DefaultedAttribute<Record> (&rows)[Rows],
                      Record &record) {
    for (const auto &[row, absent] : rows) {
        const xmlAttr *attribute = FindAttribute(element, row.Name());
        if (attribute != nullptr) {
            row.Set(record, AttributeText(attribute).Get());
        } else {
            row.Set(record, absent);
        }
    }
}

}  // namespace corvenna

/// The place of a record's text that takes that many characters, its NUL included.
#define CORVENNA_TEXT(Record, text, limit) \
    (::corvenna::PlaceOfText<sizeof(Record::text), limit>(offsetof(Record, text)))
