#include "base/xml_output.h"

#include <new>

#include "base/xml.h"

namespace corvenna {
namespace {

/// libxml2 hands over what it saved; -1 refuses it.
int TakeText(void *text, const char *bytes, int length) {
    try {
        static_cast<TextPieces *>(text)->Append({bytes, static_cast<std::size_t>(length)});
        return length;
    } catch (const std::bad_alloc &) {
        return -1;
    }
}

void Require(bool enoughMemory) {
    if (!enoughMemory) {
        throw std::bad_alloc();
    }
}

}  // namespace

XmlOutput::XmlOutput() {
    const XmlGuard guard;
    // Without an encoder: all texts are in the document's encoding already.
    buffer_.reset(xmlOutputBufferCreateIO(TakeText, nullptr, &text_, nullptr));
    Require(buffer_ != nullptr);
}

XmlOutput::~XmlOutput() {
    const XmlSharedLock shared;
    buffer_->writecallback = nullptr;  // what it still holds is of no use
    buffer_.reset();
}

void XmlOutput::Element(xmlNodePtr element, std::size_t level) {
    constexpr int kIndented = 1;
    xmlDocPtr document = element->doc;
    if (document->encoding == nullptr) {  // what is not ASCII would be saved as references
        document->encoding = xmlStrdup(ToXml("UTF-8"));
        Require(document->encoding != nullptr);
    }
    Indent(level);
    xmlNodeDumpOutput(buffer_.get(), document, element, static_cast<int>(level), kIndented,
                      "UTF-8");
    Write("\n");
}

void XmlOutput::Indent(std::size_t level) {
    constexpr std::string_view kStep = "  ";
    for (; level > 0; --level) {
        Write(kStep);
    }
}

/// Tells of an element before that found no memory, too: libxml2 keeps the failure in mind.
void XmlOutput::Write(std::string_view text) {
    Require(xmlOutputBufferWrite(buffer_.get(), static_cast<int>(text.size()), text.data()) >= 0);
}

void XmlOutput::Finish() {
    Require(xmlOutputBufferFlush(buffer_.get()) >= 0);
}

}  // namespace corvenna
