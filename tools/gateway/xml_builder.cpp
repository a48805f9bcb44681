#include "tools/gateway/xml_builder.h"

#include <libxml/parser.h>
#include <libxml/xmlstring.h>

#include <algorithm>
#include <new>
#include <stdexcept>

namespace corvenna::gateway {

namespace {

const xmlChar *ToXml(const std::string &text) {
    return reinterpret_cast<const xmlChar *>(text.c_str());
}

template <class Thing>
Thing *Made(Thing *thing) {
    if (thing == nullptr) {
        throw std::bad_alloc();
    }
    return thing;
}

bool IsText(const std::string &text) {
    const auto isControl = [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; };
    return xmlCheckUTF8(ToXml(text)) == 1 && std::none_of(text.begin(), text.end(), isControl);
}

}  // namespace

XmlElement XmlElement::Child(const char *name) const {
    return XmlElement(Made(xmlNewChild(node_, nullptr, ToXml(name), nullptr)));
}

const XmlElement &XmlElement::Set(const char *name, const std::string &value) const {
    if (!IsText(value)) {
        throw std::runtime_error(std::string(name) +
                                 " holds a control character or is no UTF-8: " + value);
    }
    Made(xmlNewProp(node_, ToXml(name), ToXml(value)));
    return *this;
}

const XmlElement &XmlElement::Set(const char *name, int value) const {
    return Set(name, std::to_string(value));
}

XmlBuilder::XmlBuilder(const char *rootName)
    : document_(Made(xmlNewDoc(ToXml("1.0")))),
      root_(Made(xmlNewDocNode(document_.get(), nullptr, ToXml(rootName), nullptr))) {
    xmlDocSetRootElement(document_.get(), root_);
}

std::string XmlBuilder::Text() const {
    xmlChar *memory = nullptr;
    int length = 0;
    xmlDocDumpFormatMemoryEnc(document_.get(), &memory, &length, "UTF-8", 1);
    const std::unique_ptr<xmlChar, void (*)(void *)> owner(Made(memory), xmlFree);
    return {reinterpret_cast<const char *>(memory), static_cast<std::size_t>(length)};
}

}  // namespace corvenna::gateway
