#include "tools/conform/documents.h"

#include <zlib.h>

#include <stdexcept>

#include "base/deflate.h"

namespace corvenna::conform {
namespace {

constexpr const char *kXmlHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr std::size_t kLongestBody = 20478;  // a gateway cuts what is longer
constexpr std::size_t kLongFile = 300000;

/// Puts one text in another's place, which must be there.
std::string Replaced(std::string document, const std::string &old, const std::string &fresh) {
    const std::size_t place = document.find(old);
    if (place == std::string::npos) {
        throw std::logic_error("a golden document has no " + old);
    }
    return document.replace(place, old.size(), fresh);
}

/// How a list is written in one format.
struct ListWriting {
    std::string head;
    std::string separator;
    std::string tail;
};

ListWriting DevicesWriting(Format format) {
    return format == Format::kXml ? ListWriting{std::string(kXmlHead) + "<data>\n", "", "</data>\n"}
                                  : ListWriting{"{\"device\":[", ",", "]}"};
}

std::string Device(Format format, int number, const std::string &description) {
    const std::string channel = std::to_string(1 + number / 200);
    const std::string id = std::to_string(1 + number % 200);
    return format == Format::kXml
               ? "  <device channel=\"" + channel + "\" id=\"" + id + "\" desc=\"" + description +
                     "\" name=\"D" + std::to_string(number) + "\"/>\n"
               : "{\"channel\":" + channel + ",\"id\":" + id + ",\"desc\":\"" + description +
                     "\",\"name\":\"D" + std::to_string(number) + "\"}";
}

std::string Empty(Format format, const std::string &list) {
    return format == Format::kXml ? std::string(kXmlHead) + "<data/>\n" : "{\"" + list + "\":[]}";
}

std::string Point(Format format, unsigned number) {
    static constexpr const char *kDigits = "0123456789abcdef";
    std::string id = "0101";
    for (const unsigned shift : {12U, 8U, 4U, 0U}) {
        id += kDigits[number >> shift & 15U];
    }
    const std::string value = std::to_string(number) + ".000";
    return format == Format::kXml
               ? "    <node dblink=\"" + id + "\" name=\"P\" value=\"" + value + "\" unit=\"\"/>\n"
               : "{\"dblink\":\"" + id + "\",\"name\":\"P\",\"unit\":\"\",\"value\":\"" + value +
                     "\"}";
}

}  // namespace

std::string GatewayDocument(Format format, const std::string &serial) {
    return Replaced(GoldenOf(format).gateway, "VB004711", serial);
}

std::string LetteredGatewayDocument(Format format, const std::string &serial) {
    const char *name = format == Format::kXml ? "Gr\u00f6\u00dfe &quot;1&quot; &amp; &lt;2&gt;"
                                              : "Gr\u00f6\u00dfe \\\"1\\\" & <2>";
    return Replaced(GatewayDocument(format, serial), "Harbour gateway", name);
}

std::string LongestDevicesDocument(Format format) {
    const ListWriting writing = DevicesWriting(format);
    std::string list = writing.head + Device(format, 0, "");
    for (int number = 1;; ++number) {
        const std::string next = writing.separator + Device(format, number, "Filler");
        if (list.size() + next.size() + writing.tail.size() > kLongestBody) {
            break;
        }
        list += next;
    }
    const std::string rest(kLongestBody - list.size() - writing.tail.size(), 'x');
    return Replaced(list, Device(format, 0, ""), Device(format, 0, rest)) + writing.tail;
}

std::string NoDevicesDocument(Format format) {
    return Empty(format, "device");
}

std::string NoAlarmsDocument(Format format) {
    return Empty(format, "node");
}

std::string ValuelessDocument(Format format) {
    return Replaced(GoldenOf(format).realData, "229.870", "-1.000");
}

std::string LongRealDataDocument(Format format) {
    const bool xml = format == Format::kXml;
    std::string document =
        xml ? std::string(kXmlHead) +
                  "<data logdt=\"2024-03-05 07:08:10\">\n  <device id=\"1\" channel=\"1\">\n"
            : "{\"logdt\":\"2024-03-05 07:08:10\",\"device\":[{\"id\":1,\"channel\":1,\"node\":[";
    document += Point(format, 0);
    for (unsigned number = 1; document.size() < kLongFile; ++number) {
        document += (xml ? "" : ",") + Point(format, number);
    }
    return document + (xml ? "  </device>\n</data>\n" : "]}]}");
}

std::string Half(const std::string &document) {
    return document.substr(0, document.size() / 2);
}

std::string DeflatedDocument(const std::string &text) {
    std::string out(compressBound(static_cast<uLong>(text.size() + 1)), '\0');
    out.resize(DeflateWithNul(text.c_str(), text.size(), out.data(), out.size()).length);
    return out;
}

}  // namespace corvenna::conform
