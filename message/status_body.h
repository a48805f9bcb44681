#pragma once

#include "base/text.h"
#include "message/body.h"

namespace corvenna {

/// The status of an offered file. Both values are texts, in either format.
class StatusBody final : public BodyContent {
public:
    StatusBody(const char *md5, int status) : md5_(md5), status_(status) {}

    void SpellJson(JsonText &out) const override {
        out.StartObject();
        out.Key("node");
        out.StartObject();
        out.Key("md5");
        out.String(JsonString(md5_));
        out.Key("status");
        out.String(status_.Get());
        out.EndObject();
        out.EndObject();
    }

    void SpellXml(xmlNodePtr data) const override {
        xmlNodePtr node = AddElement(data, "node");
        AddAttribute(node, "md5", md5_);
        AddAttribute(node, "status", status_.Get());
    }

private:
    const char *md5_;
    DecimalText status_;
};

}  // namespace corvenna
