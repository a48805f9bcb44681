#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "tools/cloud/document/document.h"

namespace corvenna::cloud {

/// Where a reader is in a document: both formats tell it what begins, stands there and ends, and
/// it tells the visitor. It counts, so that a document cannot grow beyond what the protocol knows.
class DocumentWalk {
public:
    DocumentWalk(const Shape &root, bool typed, DocumentVisitor &visitor)
        : root_(root), typed_(typed), visitor_(visitor) {}

    /// An object or element begins; what nobody named is skipped until it ends.
    void Begin(std::string_view name);
    void End();
    /// A JSON array begins; only objects may stand in one that is named.
    void BeginList(std::string_view name);
    /// A text, or a whole number.
    void Text(std::string_view name, std::string_view value, bool number);
    /// Something that the protocol does not know.
    void Other(std::string_view name);

    /// Whether children of that name are read where the walk is.
    bool Reads(std::string_view name) const {
        return skipped_ == 0 && entries_[depth_ - 1].Child(name) != nullptr;
    }

private:
    const Shape &root_;
    bool typed_;
    DocumentVisitor &visitor_;
    std::array<Entry, kDeepestElement> entries_;
    std::size_t depth_ = 0;    ///< entries in use
    std::size_t skipped_ = 0;  ///< levels below the first one that is not wanted
    std::size_t elements_ = 0;
};

void ReadJson(std::string &text, DocumentWalk &walk);
void ReadXml(const std::string &text, DocumentWalk &walk);

}  // namespace corvenna::cloud
