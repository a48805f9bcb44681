#include "tools/cloud/document/answer.h"

#include "base/json.h"
#include "base/xml.h"

namespace corvenna::cloud {
namespace {

// With the head of an answer (about 150 bytes) still below the 1,460 bytes of a packet.
constexpr std::size_t kLargestList = 1200;

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

void WriteText(JsonWriter &writer, const std::string &text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void WriteObject(JsonWriter &writer, const Fields &fields) {
    writer.StartObject();
    for (const auto &[name, value] : fields) {
        WriteText(writer, name);
        WriteText(writer, value);
    }
    writer.EndObject();
}

std::string JsonList(const std::vector<Fields> &nodes) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    writer.Key("node");
    writer.StartArray();
    for (const Fields &node : nodes) {
        WriteObject(writer, node);
    }
    writer.EndArray();
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

void SetAttributes(xmlNode *node, const Fields &fields) {
    for (const auto &[name, value] : fields) {
        xmlNewProp(node, ToXml(name.c_str()), ToXml(value.c_str()));
    }
}

std::string XmlAnswer(const Fields &fields, const std::vector<Fields> &nodes) {
    const XmlDocument document(xmlNewDoc(ToXml("1.0")));
    xmlNode *root = xmlNewNode(nullptr, ToXml("data"));
    xmlDocSetRootElement(document.get(), root);
    SetAttributes(root, fields);
    for (const Fields &node : nodes) {
        SetAttributes(xmlNewChild(root, nullptr, ToXml("node"), nullptr), node);
    }
    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpFormatMemoryEnc(document.get(), &text, &length, "UTF-8", 1);
    const XmlText owner(text);
    return {FromXml(text), static_cast<std::size_t>(length)};
}

std::string List(Format format, const std::vector<Fields> &nodes) {
    return format == Format::kJson ? JsonList(nodes) : XmlAnswer({}, nodes);
}

}  // namespace

std::string FlatAnswer(Format format, const Fields &fields) {
    if (format == Format::kXml) {
        return XmlAnswer(fields, {});
    }
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    WriteObject(writer, fields);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string ListAnswer(Format format, const std::vector<Fields> &nodes) {
    std::vector<Fields> fitting;
    std::string answer = List(format, fitting);
    for (const Fields &node : nodes) {
        fitting.push_back(node);
        std::string longer = List(format, fitting);
        if (longer.size() > kLargestList && fitting.size() > 1) {
            break;
        }
        answer = std::move(longer);
    }
    return answer;
}

const char *ContentType(Format format) {
    return format == Format::kJson ? "application/json;charset=UTF-8"
                                   : "application/xml;charset=UTF-8";
}

}  // namespace corvenna::cloud
