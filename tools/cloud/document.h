#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvenna::cloud {

/// A body that is not what it should be; what() is the reason that the gateway is told.
class BadDocument : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class Format { kJson, kXml };

/// One object of a JSON document or one element of an XML document, which the protocol uses alike:
/// named texts (members, attributes) and named children (objects or arrays of them, elements).
class Element {
public:
    explicit Element(bool typed) : typed_(typed) {}

    void AddText(std::string name, std::string value, bool number);
    Element &AddChild(std::string name);

    /// The text of that name. Throws BadDocument when it is missing or, in JSON, no string.
    const std::string &Text(const std::string &name) const;
    /// A whole number within bounds. In JSON it must be written as a number.
    int Number(const std::string &name, int lowest, int highest) const;
    /// The only child of that name; BadDocument when there is none or more than one.
    const Element &Child(const std::string &name) const;
    std::vector<const Element *> Children(const std::string &name) const;
    /// Declares that a list exists even when it is empty.
    void AddList(const std::string &name) { lists_[name]; }
    /// Like Children, but in JSON an array of that name must be there.
    std::vector<const Element *> List(const std::string &name) const;

private:
    struct Value {
        std::string text;
        bool number;
    };
    const Value &Find(const std::string &name) const;

    bool typed_;
    std::map<std::string, Value> texts_;
    std::map<std::string, std::vector<Element>> lists_;
};

/// Reads a whole document. Nested deeper than 8 or malformed: BadDocument.
/// @param text without the NUL that deflated documents end in.
Element ParseDocument(Format format, std::string_view text);

Element ParseJson(std::string_view text);
Element ParseXml(std::string_view text);

constexpr int kDeepestElement = 8;

}  // namespace corvenna::cloud
