#include "tools/cloud/document.h"

#include "tools/cloud/text.h"

namespace corvenna::cloud {

void Element::AddText(std::string name, std::string value, bool number) {
    const std::string shown = name;
    if (!texts_.emplace(std::move(name), Value{std::move(value), number}).second) {
        throw BadDocument("\"" + shown + "\" stands twice in one object");
    }
}

Element &Element::AddChild(std::string name) {
    return lists_[std::move(name)].emplace_back(typed_);
}

const Element::Value &Element::Find(const std::string &name) const {
    const auto found = texts_.find(name);
    if (found == texts_.end()) {
        throw BadDocument("\"" + name + "\" is missing");
    }
    return found->second;
}

const std::string &Element::Text(const std::string &name) const {
    const Value &value = Find(name);
    if (typed_ && value.number) {
        throw BadDocument("\"" + name + "\" is no string");
    }
    return value.text;
}

int Element::Number(const std::string &name, int lowest, int highest) const {
    const Value &value = Find(name);
    const auto number = WholeNumber(value.text, lowest, highest);
    if ((typed_ && !value.number) || !number) {
        throw BadDocument("\"" + name + "\" is no whole number from " + std::to_string(lowest) +
                          " to " + std::to_string(highest));
    }
    return static_cast<int>(*number);
}

std::vector<const Element *> Element::Children(const std::string &name) const {
    std::vector<const Element *> children;
    const auto found = lists_.find(name);
    if (found != lists_.end()) {
        for (const Element &child : found->second) {
            children.push_back(&child);
        }
    }
    return children;
}

std::vector<const Element *> Element::List(const std::string &name) const {
    if (typed_ && lists_.count(name) == 0) {
        throw BadDocument("\"" + name + "\" is missing");
    }
    return Children(name);
}

const Element &Element::Child(const std::string &name) const {
    const auto children = Children(name);
    if (children.size() != 1) {
        throw BadDocument("\"" + name + "\" must stand there once");
    }
    return *children.front();
}

Element ParseDocument(Format format, std::string_view text) {
    if (text.find('\0') != std::string_view::npos) {
        throw BadDocument("the text holds a NUL byte");
    }
    const std::string clean = CleanUtf8(text);
    return format == Format::kJson ? ParseJson(clean) : ParseXml(clean);
}

}  // namespace corvenna::cloud
