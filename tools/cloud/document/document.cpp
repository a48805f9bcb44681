#include "tools/cloud/document/document.h"

#include "tools/cloud/ground/text.h"

namespace corvenna::cloud {

void Entry::Reset(const Shape &shape, bool typed) {
    shape_ = &shape;
    typed_ = typed;
    values_.resize(shape.texts.size());
    for (Value &value : values_) {
        value.present = false;
    }
    children_.assign(shape.children.size(), Children());
}

bool Entry::AddText(std::string_view name, std::string_view value, bool number) {
    for (std::size_t i = 0; i < values_.size(); ++i) {
        if (name != shape_->texts[i]) {
            continue;
        }
        if (values_[i].present) {
            throw BadDocument("\"" + std::string(name) + "\" stands twice in one object");
        }
        values_[i].text = value;
        values_[i].number = number;
        values_[i].present = true;
        return true;
    }
    return false;
}

bool Entry::HasText(std::string_view name) const {
    for (const char *text : shape_->texts) {
        if (name == text) {
            return true;
        }
    }
    return false;
}

const Shape *Entry::Child(std::string_view name) const {
    for (const Shape &child : shape_->children) {
        if (name == child.name) {
            return &child;
        }
    }
    return nullptr;
}

void Entry::CountChild(const Shape &child) {
    Children &children = children_[static_cast<std::size_t>(&child - shape_->children.data())];
    ++children.count;
    children.list = true;
}

void Entry::NoteList(const Shape &child) {
    children_[static_cast<std::size_t>(&child - shape_->children.data())].list = true;
}

const Entry::Value &Entry::Find(std::string_view name) const {
    for (std::size_t i = 0; i < values_.size(); ++i) {
        if (name == shape_->texts[i] && values_[i].present) {
            return values_[i];
        }
    }
    throw BadDocument("\"" + std::string(name) + "\" is missing");
}

const std::string &Entry::Text(std::string_view name) const {
    const Value &value = Find(name);
    if (typed_ && value.number) {
        throw BadDocument("\"" + std::string(name) + "\" is no string");
    }
    return value.text;
}

int Entry::Number(std::string_view name, int lowest, int highest) const {
    const Value &value = Find(name);
    const auto number = WholeNumber(value.text, lowest, highest);
    if ((typed_ && !value.number) || !number) {
        throw BadDocument("\"" + std::string(name) + "\" is no whole number from " +
                          std::to_string(lowest) + " to " + std::to_string(highest));
    }
    return static_cast<int>(*number);
}

const Entry::Children &Entry::Of(std::string_view name) const {
    return children_[static_cast<std::size_t>(Child(name) - shape_->children.data())];
}

void Entry::RequireOne(std::string_view name) const {
    if (Of(name).count != 1) {
        throw BadDocument("\"" + std::string(name) + "\" must stand there once");
    }
}

void Entry::RequireList(std::string_view name) const {
    if (typed_ && !Of(name).list) {
        throw BadDocument("\"" + std::string(name) + "\" is missing");
    }
}

}  // namespace corvenna::cloud
