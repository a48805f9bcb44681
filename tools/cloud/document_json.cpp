#include "base/json.h"
#include "tools/cloud/document.h"

namespace corvenna::cloud {
namespace {

void ReadObject(const rapidjson::Value &object, Element &element, int depth);

void ReadArray(const rapidjson::Value &array, const std::string &name, Element &element,
               int depth) {
    element.AddList(name);
    for (const rapidjson::Value &item : array.GetArray()) {
        if (!item.IsObject()) {
            throw BadDocument("\"" + name + "\" holds something else than objects");
        }
        ReadObject(item, element.AddChild(name), depth + 1);
    }
}

void ReadObject(const rapidjson::Value &object, Element &element, int depth) {
    if (depth > kDeepestElement) {
        throw BadDocument("nested too deep");
    }
    for (const auto &member : object.GetObject()) {
        std::string name(member.name.GetString(), member.name.GetStringLength());
        const rapidjson::Value &value = member.value;
        if (value.IsString()) {
            element.AddText(std::move(name), {value.GetString(), value.GetStringLength()}, false);
        } else if (value.IsInt64()) {
            element.AddText(std::move(name), std::to_string(value.GetInt64()), true);
        } else if (value.IsObject()) {
            ReadObject(value, element.AddChild(std::move(name)), depth + 1);
        } else if (value.IsArray()) {
            ReadArray(value, name, element, depth);
        } else {
            throw BadDocument("\"" + name + "\" is neither text, whole number, object nor list");
        }
    }
}

}  // namespace

Element ParseJson(std::string_view text) {
    rapidjson::Document document;
    // Iterative: nesting must not eat the stack.
    document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
    if (document.HasParseError()) {
        throw BadDocument("no JSON from byte " + std::to_string(document.GetErrorOffset()));
    }
    if (!document.IsObject()) {
        throw BadDocument("the document is no JSON object");
    }
    Element root(true);
    ReadObject(document, root, 1);
    return root;
}

}  // namespace corvenna::cloud
