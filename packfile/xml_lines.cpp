#include "packfile/xml_lines.h"

#include <new>

#include "base/xml.h"
#include "base/xml_tree.h"

namespace corvenna {
namespace {

void Require(bool enoughMemory) {
    if (!enoughMemory) {
        throw std::bad_alloc();
    }
}

/// Calls use(content) for the text of each attribute.
template <class Use>
void ForEachText(xmlNodePtr element, Use use) {
    for (xmlAttrPtr attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        use(attribute->children->content);
    }
}

/// Lends texts to the attributes of an element: they are only read, and taken back before the
/// document could free them.
class LentTexts {
public:
    LentTexts(xmlNodePtr element, std::initializer_list<const char *> texts) : element_(element) {
        ForEachText(element_, [text = texts.begin()](xmlChar *&content) mutable {
            content = const_cast<xmlChar *>(ToXml(*text++));
        });
    }
    ~LentTexts() {
        ForEachText(element_, [](xmlChar *&content) { content = nullptr; });
    }
    LentTexts(const LentTexts &) = delete;
    LentTexts &operator=(const LentTexts &) = delete;

private:
    xmlNodePtr element_;
};

XmlDocument MakePattern(const char *element, std::initializer_list<const char *> attributes) {
    const XmlGuard guard;
    XmlDocument document(xmlNewDoc(ToXml("1.0")));
    Require(document != nullptr);
    xmlNodePtr root = xmlNewDocNode(document.get(), nullptr, ToXml(element), nullptr);
    Require(root != nullptr);
    xmlDocSetRootElement(document.get(), root);
    Require(root->name != nullptr);
    for (const char *name : attributes) {
        AddAttribute(root, name, "");
    }
    ForEachText(root, [](xmlChar *&content) {
        xmlFree(content);
        content = nullptr;
    });
    return document;
}

}  // namespace

XmlEntry::XmlEntry(const char *element, std::initializer_list<const char *> attributes)
    : document_(MakePattern(element, attributes)) {}

XmlEntry::~XmlEntry() {
    FreeDocument(document_);
}

void XmlEntry::Save(std::initializer_list<const char *> texts, XmlOutput &output,
                    std::size_t level) {
    const LentTexts lent(document_->children, texts);
    output.Element(document_->children, level);
}

void XmlLines::Begin(std::string_view element, std::initializer_list<PlainAttribute> attributes) {
    if (level_ == 0) {
        output_.Declaration();
    }
    EndTag();
    output_.Indent(level_);
    output_.Write("<");
    output_.Write(element);
    for (const PlainAttribute &attribute : attributes) {
        output_.Write(" ");
        output_.Write(attribute.name);
        output_.Write("=\"");
        output_.Write(attribute.text);
        output_.Write("\"");
    }
    tagIsOpen_ = true;
    ++level_;
}

void XmlLines::Entry(XmlEntry &entry, std::initializer_list<const char *> texts) {
    EndTag();
    entry.Save(texts, output_, level_);
}

void XmlLines::End(std::string_view element) {
    --level_;
    if (tagIsOpen_) {
        tagIsOpen_ = false;
        output_.Write("/>\n");
    } else {
        output_.Indent(level_);
        output_.Write("</");
        output_.Write(element);
        output_.Write(">\n");
    }
    if (level_ == 0) {
        output_.Finish();
    }
}

void XmlLines::EndTag() {
    if (tagIsOpen_) {
        tagIsOpen_ = false;
        output_.Write(">\n");
    }
}

}  // namespace corvenna
