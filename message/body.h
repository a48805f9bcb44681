#pragma once

#include <stdexcept>
#include <string_view>

#include "base/json_text.h"
#include "base/xml_tree.h"

namespace corvenna {

/// Where a finished body goes.
struct BodyTarget {
    char *out;
    int capacity;
    bool compress;
};

/// A text for JSON. On purpose: a null one raises what RapidJSON's assertion raises.
inline std::string_view JsonString(const char *text) {
    if (text == nullptr) {
        throw std::logic_error("rapidjson exception");
    }
    return text;
}

/// One body's facts, spelt in either format.
class BodyContent {
public:
    virtual void SpellJson(JsonText &out) const = 0;
    /// @param data the root. The names of all its descendants are the bodies' own, see body.cpp.
    virtual void SpellXml(xmlNodePtr data) const = 0;

protected:
    ~BodyContent() = default;
};

/// The names of all elements and attributes of bodies. The caller holds no XmlGuard.
xmlDictPtr BodyNames();

/// Writes one body in the format that a word selects.
/// @return the bytes that are in the buffer; -1 for another format, without a buffer and where
///         memory is short (logged). The buffer is not touched then.
int MakeBody(const char *format, const BodyTarget &target, const BodyContent &content);

}  // namespace corvenna
