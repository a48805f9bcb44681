#pragma once

#include "base/text.h"
#include "message/body.h"

namespace corvenna {

/// The status of an offered file. Both values are texts, in either format.
struct StatusBody {
    const char *md5;
    DecimalText status;

    template <class Out>
    void SpellJson(Out &out) const {
        out.StartObject();
        out.Key("node");
        out.StartObject();
        out.Key("md5");
        out.String(JsonString(md5));
        out.Key("status");
        out.String(status.Get());
        out.EndObject();
        out.EndObject();
    }

    void SpellXml(xmlNodePtr data) const {
        xmlNodePtr node = AddElement(data, "node");
        AddAttribute(node, "md5", md5);
        AddAttribute(node, "status", status.Get());
    }
};

}  // namespace corvenna
