#pragma once

#include <libxml/tree.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/handle.h"
#include "tools/check/finding.h"

namespace corvenna::check {

/// The name of an element or of an attribute.
template <class Node>
std::string NameOf(const Node *node) {
    return reinterpret_cast<const char *>(node->name);
}

/// The value of an attribute, if the element carries it.
std::optional<std::string> AttributeOf(const xmlNode *element, const char *name);

std::string ValueOf(const xmlAttr *attribute);

void ForEachElement(const xmlNode *parent, const std::function<void(const xmlNode *)> &use);

/// As ForEachElement, those of one name alone.
void ForEachNamed(const xmlNode *parent, const char *name,
                  const std::function<void(const xmlNode *)> &use);

/// One XML file as the plug-in would read it, with the lines of what stands in it. Uses libxml2, so
/// only while no thread of the plug-in works.
class XmlFile {
public:
    XmlFile(std::string path, const char *rootName);

    /// Null when the plug-in could not use it.
    const xmlNode *Root() const { return root_; }

    /// The rule that a file which cannot be used breaks, and what is wrong: "is missing".
    const std::string &Rule() const { return rule_; }
    const std::string &Problem() const { return problem_; }
    long ProblemLine() const { return problemLine_; }

    const std::string &Path() const { return path_; }

    /// The line of an element, or of one of its attributes.
    Place At(const xmlNode *element, const std::string &attribute = "") const;

private:
    bool Read();
    void Parse(const char *rootName);
    void Fail(const char *rule, std::string problem, long line = 0);
    long LineOf(const xmlNode *element, const std::string &attribute) const;

    std::string path_;
    std::string text_;
    std::vector<std::string> lines_;
    std::unique_ptr<xmlDoc, FreedBy<xmlFreeDoc>> document_;
    const xmlNode *root_ = nullptr;
    std::string rule_;
    std::string problem_;
    long problemLine_ = 0;
};

}  // namespace corvenna::check
