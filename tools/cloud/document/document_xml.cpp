#include <libxml/SAX2.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string_view>

#include "base/handle.h"
#include "base/xml.h"
#include "tools/cloud/document/document_walk.h"

namespace corvenna::cloud {
namespace {

// Names of elements and attributes that one document may have: libxml2 keeps each of them, and
// compares those of one element with each other. Gateways use about thirty.
constexpr std::size_t kMostNameBytes = 20000;

using ParserContext = std::unique_ptr<xmlParserCtxt, FreedBy<xmlFreeParserCtxt>>;

/// What libxml2's callbacks work on. No exception crosses libxml2: it is kept until the parser has
/// stopped.
struct Reading {
    DocumentWalk &walk;
    xmlParserCtxt *parser;
    bool inRoot = false;
    std::exception_ptr failure;

    template <class Step>
    void Guard(const Step &step) {
        if (failure) {
            return;
        }
        try {
            step();
        } catch (...) {
            failure = std::current_exception();
            xmlStopParser(parser);
        }
    }
};

std::string_view View(const xmlChar *text) {
    return FromXml(text);
}

/// The five pointers of each attribute: local name, prefix, URI, begin and end of the value.
void ReadAttributes(DocumentWalk &walk, int count, const xmlChar **attributes) {
    constexpr std::ptrdiff_t kPointers = 5;
    for (int i = 0; i < count; ++i) {
        const xmlChar **attribute = attributes + i * kPointers;
        walk.Text(View(attribute[0]),
                  {FromXml(attribute[3]), static_cast<std::size_t>(attribute[4] - attribute[3])},
                  false);
    }
}

void StartElement(void *context, const xmlChar *name, const xmlChar * /*prefix*/,
                  const xmlChar * /*uri*/, int /*namespaces*/, const xmlChar ** /*namespaceList*/,
                  int count, int /*defaulted*/, const xmlChar **attributes) {
    auto &reading = *static_cast<Reading *>(context);
    reading.Guard([&] {
        if (!reading.inRoot && View(name) != "data") {
            throw BadDocument("the root element is not \"data\"");
        }
        reading.inRoot = true;
        reading.walk.Begin(View(name));
        ReadAttributes(reading.walk, count, attributes);
    });
}

void EndElement(void *context, const xmlChar * /*name*/, const xmlChar * /*prefix*/,
                const xmlChar * /*uri*/) {
    auto &reading = *static_cast<Reading *>(context);
    reading.Guard([&] { reading.walk.End(); });
}

void IgnoreError(void * /*context*/, xmlErrorPtr /*error*/) {}

xmlSAXHandler Handler() {
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = StartElement;
    handler.endElementNs = EndElement;
    handler.serror = IgnoreError;
    return handler;
}

int ReadPiece(void *rest, char *piece, int most) {
    auto &text = *static_cast<std::string_view *>(rest);
    const std::size_t size = text.copy(piece, static_cast<std::size_t>(most));
    text.remove_prefix(size);
    return static_cast<int>(size);
}

/// A parser that takes the text piece by piece and so needs no copy of it as a whole.
/// @param rest what is left of it; lives longer.
ParserContext MakeParser(std::string_view &rest) {
    ParserContext parser(xmlNewParserCtxt());
    xmlParserInputBuffer *buffer =
        xmlParserInputBufferCreateIO(ReadPiece, nullptr, &rest, XML_CHAR_ENCODING_UTF8);
    if (!parser || buffer == nullptr) {
        xmlFreeParserInputBuffer(buffer);
        throw std::bad_alloc();
    }
    xmlParserInput *input = xmlNewIOInputStream(parser.get(), buffer, XML_CHAR_ENCODING_UTF8);
    if (input == nullptr) {
        xmlFreeParserInputBuffer(buffer);
        throw std::bad_alloc();
    }
    if (inputPush(parser.get(), input) < 0) {
        xmlFreeInputStream(input);
        throw std::bad_alloc();
    }
    return parser;
}

}  // namespace

void ReadXml(const std::string &text, DocumentWalk &walk) {
    // A document type could define entities that grow; no gateway sends one.
    if (text.find("<!DOCTYPE") != std::string::npos) {
        throw BadDocument("a document type is not accepted");
    }
    if (text.empty()) {
        throw BadDocument("no XML at line 1");
    }
    const XmlGuard guard;
    std::string_view rest = text;
    const ParserContext parser = MakeParser(rest);
    Reading reading{walk, parser.get(), false, nullptr};
    *parser->sax = Handler();
    parser->userData = &reading;
    xmlCtxtUseOptions(parser.get(), XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    xmlDictSetLimit(parser->dict, kMostNameBytes);
    const int result = xmlParseDocument(parser.get());
    if (reading.failure) {
        std::rethrow_exception(reading.failure);
    }
    if (result != 0 || parser->wellFormed == 0) {
        throw BadDocument("no XML at line " + std::to_string(parser->lastError.line));
    }
}

}  // namespace corvenna::cloud
