#include "config/root.h"

#include <cstring>

#include "log/log.h"

namespace corvenna {

XmlDocument ParseConfiguration(const char *path) {
    // Ours: "-" is standard input to libxml2; a damaged name must not make the host wait for it.
    if (path == nullptr || std::strcmp(path, "-") == 0) {
        return nullptr;
    }
    // Ours: XML_PARSE_NONET. A path from a configuration file must not become a request.
    return XmlDocument(xmlReadFile(path, "UTF-8", XML_PARSE_NOBLANKS | XML_PARSE_NONET));
}

const xmlNode *CheckRoot(XmlDocument &document, const char *name, const RootMessages &messages) {
    if (document == nullptr) {
        log_Text(kLogError, "%s", messages.missing);
        return nullptr;
    }
    const xmlNode *root = xmlDocGetRootElement(document.get());
    if (root == nullptr || !IsElement(root, name)) {
        log_Text(kLogError, "%s", root == nullptr ? messages.empty : messages.wrongRoot);
        document.reset();
        return nullptr;
    }
    return root;
}

}  // namespace corvenna
