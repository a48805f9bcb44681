#include "packfile/xml_names.h"

#include "base/xml_tree.h"

namespace corvenna {

xmlDictPtr DataFileNames() {
    static xmlDict *const kNames =
        MakeXmlNames({"data", "logdt", "device", "id", "channel", "node", "dblink", "name", "value",
                      "unit", "thredhold_value", "type", "flag"});
    return kNames;
}

}  // namespace corvenna
