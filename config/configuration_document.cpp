#include "config/configuration_document.h"

#include <libxml/uri.h>
#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "base/file_kind.h"
#include "base/file_url.h"
#include "base/xml.h"
#include "log/log.h"

namespace corvenna {
namespace {

bool BeginsWith(const char *name, const char *prefix) {
    return strncasecmp(name, prefix, std::strlen(prefix)) == 0;
}

/// Whether libxml2 would make a request of a name.
bool IsRemote(const char *name) {
    return BeginsWith(name, "http://") || BeginsWith(name, "ftp://");
}

/// The file that libxml2 understands a name as where it reads.
const char *PathOf(const char *name) {
    return WithoutScheme(name, {"file://localhost/", "file:/"});
}

/// Whether reading a file could wait without end, as it may with pipes and devices.
bool CouldWait(const char *path) {
    const mode_t kind = KindOf(path);
    return kind != 0 && kind != S_IFREG;
}

/// Whether libxml2 would wait or make a request for a name. "-" is its name of standard input.
bool IsNoFile(const char *name) {
    return std::strcmp(name, "-") == 0 || IsRemote(name) || CouldWait(name) ||
           CouldWait(PathOf(name));
}

/// Where there is no file of a name, libxml2 takes it for one with percent escapes.
XmlText WithoutEscapes(const char *name) {
    XmlText text(reinterpret_cast<xmlChar *>(xmlURIUnescapeString(name, 0, nullptr)));
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    return text;
}

/// Whether libxml2 looks up what is not there in catalogues of somebody's choice, which may be
/// anywhere: a pipe, another machine.
bool HasCatalogues() {
    return std::getenv("XML_CATALOG_FILES") != nullptr;
}

/// By which name libxml2 shall open the file that it would open for a name; null where it shall
/// not.
const char *NameOfFile(const char *name, const char *unescaped) {
    if (IsNoFile(name) || IsNoFile(unescaped)) {
        return nullptr;
    }
    for (const char *spelling : {name, PathOf(name), PathOf(unescaped)}) {
        if (KindOf(spelling) == S_IFREG) {
            return spelling;
        }
    }
    return HasCatalogues() ? nullptr : name;
}

}  // namespace

int OutOfMemory() {
    log_Text(kLogError, "configuration is not loaded whole: out of memory");
    return -1;
}

void ConfigurationDocument::Parse(const char *path, const XmlGuard &guard) {
    document_.reset();
    if (path == nullptr) {
        return;
    }
    // Ours: the path of a point file stands in a file that may be damaged; the host must neither
    // wait for it nor ask another machine for it, nor for a catalogue where to find it.
    const XmlText unescaped = WithoutEscapes(path);
    const char *name = NameOfFile(path, FromXml(unescaped.get()));
    if (name == nullptr) {
        return;
    }
    document_ = WholeDocument(
        xmlReadFile(name, "UTF-8", XML_PARSE_NOBLANKS), guard, [name](xmlParserCtxtPtr context) {
            return xmlCtxtReadFile(context, name, "UTF-8", XML_PARSE_NOBLANKS);
        });
}

bool ConfigurationDocument::Open(const char *path, const XmlGuard &guard) {
    Parse(path, guard);
    if (document_ == nullptr) {
        return false;
    }
    xmlKeepBlanksDefault(0);
    return true;
}

const xmlNode *ConfigurationDocument::Root(const RootRule &rule, const XmlGuard &guard) {
    if (document_ == nullptr) {
        log_Text(kLogError, "%s", rule.missing);
        return nullptr;
    }
    const xmlNode *root = xmlDocGetRootElement(document_.get());
    if (root == nullptr || !IsElement(root, rule.name)) {
        log_Text(kLogError, "%s", root == nullptr ? rule.empty : rule.wrongRoot);
        Reject(guard);
        return nullptr;
    }
    return root;
}

void ConfigurationDocument::Reject(const XmlGuard &) {
    document_.reset();
}

int ConfigurationDocument::Close() {
    if (document_ == nullptr) {
        return -1;
    }
    FreeDocument(document_);
    return 0;
}

}  // namespace corvenna
