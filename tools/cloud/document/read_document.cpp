#include "tools/cloud/document/read_document.h"

#include "tools/cloud/document/document_walk.h"
#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {

void ReadDocument(Format format, std::string text, const Shape &root, DocumentVisitor &visitor) {
    if (text.find('\0') != std::string::npos) {
        throw BadDocument("the text holds a NUL byte");
    }
    const std::size_t broken = CountBrokenUtf8(text);
    if (broken > kMostElements) {
        throw BadDocument("the text is no UTF-8");
    }
    if (broken > 0) {
        text = CleanUtf8(text);
    }
    DocumentWalk walk(root, format == Format::kJson, visitor);
    format == Format::kJson ? ReadJson(text, walk) : ReadXml(text, walk);
}

}  // namespace corvenna::cloud
