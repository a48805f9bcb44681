#include "base/json.h"
#include "tools/cloud/document/document_walk.h"

namespace corvenna::cloud {
namespace {

// Arrays and objects that stand in each other; RapidJSON's own stack grows with them.
constexpr std::size_t kDeepestContainer = 2 * kDeepestElement;

/// What RapidJSON tells while it reads. Of arrays it remembers whose they are.
class Events {
public:
    using Ch = char;
    using SizeType = rapidjson::SizeType;

    explicit Events(DocumentWalk &walk) : walk_(walk) {}

    bool Null() { return Other(); }
    bool Bool(bool) { return Other(); }
    bool Int(int) { return Other(); }
    bool Uint(unsigned) { return Other(); }
    bool Int64(std::int64_t) { return Other(); }
    bool Uint64(std::uint64_t) { return Other(); }
    bool Double(double) { return Other(); }
    bool RawNumber(const char *text, SizeType length, bool) {
        const std::string_view number(text, length);
        return number.find_first_of(".eE") == std::string_view::npos ? Scalar(number, true)
                                                                     : Other();
    }
    bool String(const char *text, SizeType length, bool) { return Scalar({text, length}, false); }
    bool Key(const char *text, SizeType length, bool) {
        key_ = {text, length};
        return true;
    }
    bool StartObject() {
        walk_.Begin(Enter(false));
        return true;
    }
    bool EndObject(SizeType) {
        --depth_;
        walk_.End();
        return true;
    }
    bool StartArray() {
        if (depth_ == 0) {
            throw BadDocument("the document is no JSON object");
        }
        if (InArray()) {
            RefuseInList();
        }
        const std::string_view name = Enter(true);
        walk_.BeginList(name);
        return true;
    }
    bool EndArray(SizeType) {
        --depth_;
        return true;
    }

private:
    struct Container {
        bool array = false;
        std::string_view name;
    };

    bool InArray() const { return depth_ > 0 && containers_[depth_ - 1].array; }

    /// Goes into an array or object. @return its name, which an array's objects share.
    std::string_view Enter(bool array) {
        if (depth_ == kDeepestContainer) {
            throw BadDocument("nested too deep");
        }
        const std::string_view name = InArray() ? containers_[depth_ - 1].name : key_;
        containers_[depth_++] = {array, name};
        return name;
    }

    /// Something else than an object in an array, which is wrong in one that is read.
    void RefuseInList() const {
        const std::string_view name = containers_[depth_ - 1].name;
        if (walk_.Reads(name)) {
            throw BadDocument("\"" + std::string(name) + "\" holds something else than objects");
        }
    }

    bool Scalar(std::string_view text, bool number) {
        if (depth_ == 0) {
            throw BadDocument("the document is no JSON object");
        }
        if (InArray()) {
            RefuseInList();
        } else {
            walk_.Text(key_, text, number);
        }
        return true;
    }

    bool Other() {
        if (depth_ == 0) {
            throw BadDocument("the document is no JSON object");
        }
        if (InArray()) {
            RefuseInList();
        } else {
            walk_.Other(key_);
        }
        return true;
    }

    DocumentWalk &walk_;
    std::string_view key_;  // points into the text, which strings are read in place of
    std::array<Container, kDeepestContainer> containers_;
    std::size_t depth_ = 0;
};

}  // namespace

void ReadJson(std::string &text, DocumentWalk &walk) {
    // Iterative: nesting must not eat the stack. In place: strings take no memory of their own.
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseInsituFlag |
                                rapidjson::kParseNumbersAsStringsFlag;
    rapidjson::InsituStringStream stream(text.data());
    rapidjson::Reader reader;
    Events events(walk);
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, events);
    if (result.IsError()) {
        throw BadDocument("no JSON from byte " + std::to_string(result.Offset()));
    }
}

}  // namespace corvenna::cloud
