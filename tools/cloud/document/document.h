#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace corvenna::cloud {

/// A body that is not what it should be; what() is the reason that the gateway is told.
class BadDocument : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class Format { kJson, kXml };

/// What is read of an object of a JSON document or an element of an XML document, which the
/// protocol uses alike: named texts (members, attributes) and named children (objects or arrays of
/// them, elements). All else in a document is skipped.
struct Shape {
    int what;          ///< for the visitor, to know it by
    const char *name;  ///< within its parent
    std::vector<const char *> texts;
    std::vector<Shape> children;
};

/// The texts of one object that a shape names, and how often its children were there.
class Entry {
public:
    /// Begins anew. @param typed whether strings and numbers are told apart, as in JSON.
    void Reset(const Shape &shape, bool typed);

    /// @return false when the shape names no such text.
    bool AddText(std::string_view name, std::string_view value, bool number);
    bool HasText(std::string_view name) const;
    /// The child of that name; null when the shape names none.
    const Shape *Child(std::string_view name) const;
    void CountChild(const Shape &child);
    /// Declares that a list exists even when it is empty.
    void NoteList(const Shape &child);

    const Shape &Its() const { return *shape_; }
    /// The text of that name. Throws BadDocument when it is missing or, in JSON, no string.
    const std::string &Text(std::string_view name) const;
    /// A whole number within bounds. In JSON it must be written as a number.
    int Number(std::string_view name, int lowest, int highest) const;
    /// BadDocument when there was none or more than one child of that name.
    void RequireOne(std::string_view name) const;
    /// BadDocument when, in JSON, there was no list of that name.
    void RequireList(std::string_view name) const;

private:
    struct Value {
        std::string text;
        bool number = false;
        bool present = false;
    };
    struct Children {
        std::size_t count = 0;
        bool list = false;
    };
    const Value &Find(std::string_view name) const;
    const Children &Of(std::string_view name) const;

    const Shape *shape_ = nullptr;
    bool typed_ = false;
    std::vector<Value> values_;  ///< in the order of the shape's texts
    std::vector<Children> children_;
};

/// Is told of every object that a shape names, when it ends: children before their parents.
class DocumentVisitor {
public:
    virtual ~DocumentVisitor() = default;
    virtual void Ended(const Entry &entry) = 0;
};

constexpr std::size_t kDeepestElement = 8;
constexpr std::size_t kMostElements = 65536;

}  // namespace corvenna::cloud
