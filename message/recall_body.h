#pragma once

#include <ctime>

#include "message/body.h"
#include "message/records.h"

namespace corvenna {

/// A time as the server writes it, "2024-03-05 07:08:09", local.
class RecallTime {
public:
    explicit RecallTime(std::time_t time);
    const char *Get() const { return text_; }

private:
    char text_[32];
};

/// The acknowledgement of a served recall range.
struct RecallBody {
    RecallTime start;
    RecallTime end;

    template <class Out>
    void SpellJson(Out &out) const {
        out.StartObject();
        out.Key("node");
        out.StartObject();
        out.Key("startdt");
        out.String(start.Get());
        out.Key("enddt");
        out.String(end.Get());
        out.EndObject();
        out.EndObject();
    }

    void SpellXml(xmlNodePtr data) const {
        xmlNodePtr node = AddElement(data, "node");
        AddAttribute(node, "startdt", start.Get());
        AddAttribute(node, "enddt", end.Get());
    }
};

}  // namespace corvenna
