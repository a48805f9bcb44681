#include "packfile/xml_names.h"

#include "base/xml.h"

namespace corvenna {
namespace {

/// Complete: a name that is missing here would be added while other threads read.
constexpr const char *kNames[] = {"data",   "logdt", "device", "id",   "channel",         "node",
                                  "dblink", "name",  "value",  "unit", "thredhold_value", "type",
                                  "flag"};

}  // namespace

xmlDictPtr DataFileNames() {
    static xmlDictPtr const kDictionary = [] {
        const XmlGuard guard;
        xmlDictPtr dictionary = xmlDictCreate();
        for (const char *name : kNames) {
            xmlDictLookup(dictionary, ToXml(name), -1);
        }
        return dictionary;
    }();
    return kDictionary;
}

}  // namespace corvenna
