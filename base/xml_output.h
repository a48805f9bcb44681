#pragma once

#include <libxml/tree.h>
#include <libxml/xmlIO.h>

#include <cstddef>
#include <memory>
#include <string_view>

#include "base/handle.h"
#include "base/text_pieces.h"

namespace corvenna {

/// Where documents are saved to: a text in memory. libxml2's own calls that save a whole document
/// leave out what finds no memory, or crash in their encoder; this throws std::bad_alloc. Whoever
/// makes or frees one holds no XmlGuard, whoever calls an operation does.
class XmlOutput {
public:
    XmlOutput();
    ~XmlOutput();
    XmlOutput(const XmlOutput &) = delete;
    XmlOutput &operator=(const XmlOutput &) = delete;

    void Declaration() { Write("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"); }
    /// An element on a line of its own, with all that lies in it on lines below.
    void Element(xmlNodePtr element, std::size_t level);
    void Indent(std::size_t level);
    void Write(std::string_view text);

    /// Takes what libxml2 still holds back; nothing may follow.
    void Finish();
    /// All that was written, when it is finished. Needs no guard.
    TextPieces &Text() { return text_; }

private:
    TextPieces text_;
    std::unique_ptr<xmlOutputBuffer, FreedBy<xmlOutputBufferClose>> buffer_;  ///< before text_
};

}  // namespace corvenna
