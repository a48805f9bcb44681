#include "tools/check/document_rules.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "tools/check/value_rules.h"

namespace corvenna::check {

namespace {

const char *const kPassedOver = "it is passed over";

std::string ListOf(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text.empty() ? "nothing" : text;
}

class Walk {
public:
    Walk(const XmlFile &file, const Vocabulary &vocabulary, Findings &findings)
        : file_(file), vocabulary_(vocabulary), findings_(findings) {}

    void Visit(const xmlNode *element, const ElementRule &rule) {
        if (rule.standsOnce && !met_.insert(&rule).second) {
            Tell("repeated-element", file_.At(element), "stands there once more",
                 "the last one counts, with defaults for what it leaves out", "write one of them");
        }
        CheckAttributes(element, rule);
        CheckLeftOut(element, rule);
        if (IsUnreadChannel(rule)) {
            return;
        }
        ForEachElement(element, [&](const xmlNode *child) {
            const ElementRule *known = RuleOf(NameOf(child), rule.name);
            if (known != nullptr) {
                Visit(child, *known);
            } else {
                TellUnknownElement(child, rule);
            }
        });
    }

private:
    const ElementRule *RuleOf(const std::string &name, const std::string &parent) const {
        const auto found = std::find_if(
            vocabulary_.begin(), vocabulary_.end(),
            [&](const ElementRule &rule) { return name == rule.name && parent == rule.parent; });
        return found == vocabulary_.end() ? nullptr : &*found;
    }

    void Tell(std::string rule, Place place, std::string what, std::string effect,
              std::string advice) {
        findings_.push_back({Severity::kWarning, std::move(rule), std::move(place), std::move(what),
                             std::move(effect), std::move(advice)});
    }

    void TellUnknownElement(const xmlNode *element, const ElementRule &parent) {
        std::vector<std::string> known;
        for (const ElementRule &rule : vocabulary_) {
            if (rule.parent != std::string(parent.name)) {
                continue;
            }
            if (DiffersInCaseOnly(NameOf(element), rule.name)) {
                Tell("other-case-element", file_.At(element),
                     std::string("is no <") + rule.name + ">", "it is passed over with all in it",
                     std::string("write <") + rule.name + ">");
                return;
            }
            known.push_back(std::string("<") + rule.name + ">");
        }
        Tell("unknown-element", file_.At(element),
             std::string("is not known below <") + parent.name + ">",
             "it is passed over with all in it", "known there: " + ListOf(known));
    }

    void CheckAttributes(const xmlNode *element, const ElementRule &rule) {
        for (const xmlAttr *attribute = element->properties; attribute != nullptr;
             attribute = attribute->next) {
            const std::string name = NameOf(attribute);
            const auto known =
                std::find_if(rule.attributes.begin(), rule.attributes.end(),
                             [&](const AttributeRule &one) { return name == one.name; });
            if (known == rule.attributes.end()) {
                TellUnknownAttribute(element, name, rule);
                continue;
            }
            const std::string value = ValueOf(attribute);
            last_[known->name] = value;
            if (auto problem = ProblemOf(*known, value)) {
                Tell(problem->rule, file_.At(element, name), problem->what, problem->effect,
                     problem->advice);
            }
        }
    }

    void TellUnknownAttribute(const xmlNode *element, const std::string &name,
                              const ElementRule &rule) {
        std::vector<std::string> known;
        for (const AttributeRule &one : rule.attributes) {
            if (DiffersInCaseOnly(name, one.name)) {
                Tell("other-case-attribute", file_.At(element, name),
                     std::string("has \"")
                             .append(name)
                             .append("\", which is no \"")
                             .append(one.name) +
                         "\"",
                     kPassedOver, std::string("write ") + one.name);
                return;
            }
            known.emplace_back(one.name);
        }
        Tell("unknown-attribute", file_.At(element, name),
             "has \"" + name + "\", which is not known", kPassedOver,
             "known there: " + ListOf(known));
    }

    void CheckLeftOut(const xmlNode *element, const ElementRule &rule) {
        for (const AttributeRule &one : rule.attributes) {
            if (one.absent == Absent::kDefault || AttributeOf(element, one.name)) {
                continue;
            }
            const std::string what = std::string("has no ") + one.name;
            const auto before = last_.find(one.name);
            if (before != last_.end()) {
                Tell("inherited", file_.At(element), what,
                     "\"" + before->second + "\" of an element before it is taken" +
                         (one.kind == Kind::kPointNumber ? ", whose point is replaced" : ""),
                     std::string("write ") + one.name);
            } else if (one.absent == Absent::kNeeded) {
                Tell("left-out", file_.At(element), what,
                     one.kind == Kind::kText || one.kind == Kind::kName ? "it is empty"
                                                                        : "0 is taken",
                     std::string("write ") + one.name);
            }
        }
    }

    /// Only tables of one protocol are read.
    bool IsUnreadChannel(const ElementRule &rule) {
        if (rule.name != std::string("Fwd_chan")) {
            return false;
        }
        const auto protocol = last_.find("lnk_p");
        return protocol == last_.end() || protocol->second != kForwardedProtocol;
    }

    const XmlFile &file_;
    const Vocabulary &vocabulary_;
    Findings &findings_;
    std::set<const ElementRule *> met_;
    std::map<std::string, std::string> last_;  ///< values of attributes met so far, by name
};

}  // namespace

void CheckDocument(const XmlFile &file, const Vocabulary &vocabulary, Findings &findings) {
    if (file.Root() != nullptr) {
        Walk(file, vocabulary, findings).Visit(file.Root(), vocabulary.front());
    }
}

}  // namespace corvenna::check
