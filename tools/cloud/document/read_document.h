#pragma once

#include <string>

#include "tools/cloud/document/document.h"

namespace corvenna::cloud {

/// Reads a whole document without keeping it: what it takes is bounded by what the visitor keeps.
/// Nested deeper than 8, with more objects than kMostElements or malformed: BadDocument.
/// @param text without the NUL that deflated documents end in; it is used up.
void ReadDocument(Format format, std::string text, const Shape &root, DocumentVisitor &visitor);

}  // namespace corvenna::cloud
