#include "base/xml.h"

#include <algorithm>
#include <mutex>
#include <string>

namespace corvenna {
namespace {

std::shared_mutex &XmlMutex() {
    // Never destroyed: documents are freed by destructors that run while the process ends.
    static auto *mutex = new std::shared_mutex;
    return *mutex;
}

// What the entities of one attribute may add up to, in bytes and pieces together.
constexpr std::size_t kMaxResolved = 65536;
// The parser itself refuses entities that lie deeper in each other.
constexpr int kMaxEntityDepth = 40;

/// Puts together the pieces of an attribute's value.
/// Ours: bounded. A small file can name a long entity many times, which the parser lets pass and
/// xmlNodeListGetString takes minutes and gigabytes to write out; what lies behind the bound is
/// cut.
class AttributePieces {
public:
    explicit AttributePieces(const xmlAttr *attribute) : document_(attribute->doc) {
        Append(attribute->children, 0);
    }
    const std::string &Text() const { return text_; }

private:
    void Append(const xmlNode *pieces, int depth) {
        for (const xmlNode *piece = pieces; piece != nullptr && left_ > 0; piece = piece->next) {
            --left_;
            if (piece->type == XML_ENTITY_REF_NODE) {
                AppendEntity(piece->name, depth);
            } else if (piece->type == XML_TEXT_NODE && piece->content != nullptr) {
                const std::size_t length = std::min(std::strlen(FromXml(piece->content)), left_);
                text_.append(FromXml(piece->content), length);
                left_ -= length;
            }
        }
    }

    void AppendEntity(const xmlChar *name, int depth) {
        const xmlEntity *entity = xmlGetDocEntity(document_, name);
        if (entity != nullptr && depth < kMaxEntityDepth) {
            Append(entity->children, depth + 1);
        }
    }

    const xmlDoc *document_;
    std::string text_;
    std::size_t left_ = kMaxResolved;
};

}  // namespace

XmlGuard::XmlGuard() : lock_(XmlMutex()) {}

void CleanUpXml() {
    const std::unique_lock<std::shared_mutex> alone(XmlMutex());
    xmlCleanupParser();
    xmlMemoryDump();
    xmlInitParser();
}

void FreeXmlDocument::operator()(_xmlDoc *document) const {
    xmlFreeDoc(document);
}

void AttributeText::Copy(const xmlAttr *attribute) {
    const AttributePieces pieces(attribute);
    copy_.reset(xmlStrdup(ToXml(pieces.Text().c_str())));
    if (copy_ != nullptr) {
        text_ = FromXml(copy_.get());
    }
}

}  // namespace corvenna
