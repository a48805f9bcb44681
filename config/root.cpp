#include "config/root.h"

#include <strings.h>
#include <sys/stat.h>

#include <cstring>

#include "log/log.h"

namespace corvenna {
namespace {

/// Whether libxml2 would make a request of a path.
bool IsRemote(const char *path) {
    return strncasecmp(path, "http://", 7) == 0 || strncasecmp(path, "ftp://", 6) == 0;
}

/// Whether reading a path could wait without end: standard input, as libxml2 understands "-", pipes
/// and devices.
bool CouldWait(const char *path) {
    struct stat file {};
    return std::strcmp(path, "-") == 0 || (stat(path, &file) == 0 && !S_ISREG(file.st_mode));
}

}  // namespace

XmlDocument ParseConfiguration(const char *path) {
    // Ours: the path of a point file stands in a file that may be damaged; the host must neither
    // wait for it nor ask another machine for it. What is not there goes to the parser.
    if (path == nullptr || IsRemote(path) || CouldWait(path)) {
        return nullptr;
    }
    return XmlDocument(xmlReadFile(path, "UTF-8", XML_PARSE_NOBLANKS));
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
