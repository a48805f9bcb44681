#include "base/xml.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

namespace corvenna {
namespace {

// Whether libxml2 is initialised and its thread key known.
std::atomic<bool> gReady{false};

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
    std::string Take() { return std::move(text_); }

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

XmlGuard::Ready::Ready() {
    KeepXmlLockThroughForks();
    if (!gReady) {
        const XmlExclusiveLock alone;
        gReady = InitXml();
    }
    if (!gReady) {
        throw std::bad_alloc();
    }
}

XmlGuard::XmlGuard() = default;

void CleanUpXml() {
    const XmlExclusiveLock alone;
    try {
        gReady = CleanUpAndInitXml();
    } catch (const std::bad_alloc &) {
        gReady = false;  // the next guard tries again
    }
}

void FreeDocument(XmlDocument &document) {
    if (document != nullptr) {
        const XmlSharedLock shared;
        document.reset();
    }
}

void FreeXmlDocument::operator()(_xmlDoc *document) const {
    xmlFreeDoc(document);
}

void AttributeText::Copy(const xmlAttr *attribute) {
    copy_ = AttributePieces(attribute).Take();
    text_ = copy_.c_str();
}

}  // namespace corvenna
