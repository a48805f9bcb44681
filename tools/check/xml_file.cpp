#include "tools/check/xml_file.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

namespace corvenna::check {

namespace {

constexpr const char *kByteOrderMark = "\xEF\xBB\xBF";

std::vector<std::string> LinesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool IsWordLetter(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_' ||
           letter == '-' || letter == '.' || letter == ':';
}

/// Whether a line has the text as a whole name: neither in the middle of another nor in front of
/// more of it.
bool HasName(const std::string &line, const std::string &name) {
    for (auto at = line.find(name); at != std::string::npos; at = line.find(name, at + 1)) {
        const auto end = at + name.size();
        const bool begins = at == 0 || !IsWordLetter(line[at - 1]);
        if (begins && (end == line.size() || !IsWordLetter(line[end]))) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string ValueOf(const xmlAttr *attribute) {
    xmlChar *value = xmlNodeListGetString(attribute->doc, attribute->children, 1);
    if (value == nullptr) {
        return "";
    }
    std::string text = reinterpret_cast<const char *>(value);
    xmlFree(value);
    return text;
}

std::optional<std::string> AttributeOf(const xmlNode *element, const char *name) {
    for (const xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (NameOf(attribute) == name) {
            return ValueOf(attribute);
        }
    }
    return std::nullopt;
}

void ForEachElement(const xmlNode *parent, const std::function<void(const xmlNode *)> &use) {
    for (const xmlNode *child = parent->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE) {
            use(child);
        }
    }
}

void ForEachNamed(const xmlNode *parent, const char *name,
                  const std::function<void(const xmlNode *)> &use) {
    ForEachElement(parent, [&](const xmlNode *element) {
        if (NameOf(element) == name) {
            use(element);
        }
    });
}

XmlFile::XmlFile(std::string path, const char *rootName) : path_(std::move(path)) {
    if (Read()) {
        Parse(rootName);
    }
}

void XmlFile::Fail(const char *rule, std::string problem, long line) {
    rule_ = rule;
    problem_ = std::move(problem);
    problemLine_ = line;
}

bool XmlFile::Read() {
    std::error_code error;
    if (!std::filesystem::exists(path_, error)) {
        Fail("file-missing", "is missing");
        return false;
    }
    if (!std::filesystem::is_regular_file(path_, error)) {
        Fail("file-unreadable", "is no regular file, which the plug-in does not read");
        return false;
    }
    std::ifstream stream(path_, std::ios::binary);
    text_.assign(std::istreambuf_iterator<char>(stream), {});
    if (!stream) {
        Fail("file-unreadable", "cannot be read");
        return false;
    }
    if (text_.rfind(kByteOrderMark, 0) == 0) {
        Fail("byte-order-mark", "begins with a byte order mark, which the parser refuses", 1);
        return false;
    }
    return true;
}

void XmlFile::Parse(const char *rootName) {
    xmlResetLastError();
    document_.reset(xmlReadMemory(text_.data(), static_cast<int>(text_.size()), path_.c_str(),
                                  "UTF-8",
                                  XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                                      XML_PARSE_NONET | XML_PARSE_BIG_LINES));
    if (document_ == nullptr) {
        const auto *error = xmlGetLastError();
        const bool told = error != nullptr && error->message != nullptr;
        std::string words = told ? error->message : "no XML";
        words.erase(words.find_last_not_of('\n') + 1);
        const long line = told ? error->line : 0;
        Fail("file-damaged",
             "is damaged: " + (told ? "line " + std::to_string(line) + ": " : "") + words, line);
        return;
    }
    lines_ = LinesOf(text_);
    const xmlNode *root = xmlDocGetRootElement(document_.get());
    if (root == nullptr || NameOf(root) != rootName) {
        Fail("wrong-root",
             "begins with <" + (root == nullptr ? "" : NameOf(root)) + ">, not with <" + rootName +
                 ">; letters must be as they are here",
             root == nullptr ? 0 : LineOf(root, ""));
        return;
    }
    root_ = root;
}

Place XmlFile::At(const xmlNode *element, const std::string &attribute) const {
    return {path_, LineOf(element, attribute), "<" + NameOf(element) + ">"};
}

/// libxml2 knows the line at which a start tag ends, and none of attributes.
long XmlFile::LineOf(const xmlNode *element, const std::string &attribute) const {
    const long end = xmlGetLineNo(element);
    const auto line = [this](long number) -> const std::string & {
        return lines_.at(static_cast<std::size_t>(number - 1));
    };
    if (end < 1 || end > static_cast<long>(lines_.size())) {
        return end;
    }
    long begin = end;
    while (begin > 1 && line(begin).find("<" + NameOf(element)) == std::string::npos) {
        --begin;
    }
    for (long at = begin; !attribute.empty() && at <= end; ++at) {
        if (HasName(line(at), attribute)) {
            return at;
        }
    }
    return begin;
}

}  // namespace corvenna::check
