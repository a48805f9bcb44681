#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "base/format.h"
#include "base/json_text.h"
#include "base/xml_tree.h"

namespace corvenna {

/// Where a finished body goes.
struct BodyTarget {
    char *out;
    int capacity;
    bool compress;
};

/// A text for JSON. A null one raises what RapidJSON's assertion raises, before its Writer, which
/// does not look, can see it.
inline std::string_view JsonString(const char *text) {
    RAPIDJSON_ASSERT(text != nullptr);
    return text;
}

/// The names of all elements and attributes of bodies. The caller holds no XmlGuard.
xmlDictPtr BodyNames();

/// Deflates a document's text into the caller's buffer, or copies it, cut at capacity - 2.
/// @return the bytes that are in the buffer.
int WriteBody(const BodyTarget &target, const char *text, std::size_t length);

/// Serialises a tree, indented, and writes it likewise.
int WriteBody(const BodyTarget &target, const XmlTree &tree);

/// Writes one body in the format that a word selects. Content is one body's facts, with
/// `template <class Out> void SpellJson(Out &out) const` and `void SpellXml(xmlNodePtr data)
/// const`.
/// @return the bytes that are in the buffer, -1 for another format (the buffer is not touched) and
/// without a buffer.
template <class Content>
int MakeBody(const char *format, const BodyTarget &target, const Content &content) {
    if (target.out == nullptr) {
        return -1;
    }
    switch (FormatOf(format)) {
        case Format::kJson: {
            JsonSize size;
            content.SpellJson(size);
            JsonText text(size.Capacity());
            content.SpellJson(text);
            return WriteBody(target, text.Text(), text.Length());
        }
        case Format::kXml: {
            XmlTree tree(BodyNames());
            {
                const XmlGuard guard;
                content.SpellXml(tree.Root());
            }
            return WriteBody(target, tree);
        }
        case Format::kUnknown:
            break;
    }
    return -1;
}

}  // namespace corvenna
