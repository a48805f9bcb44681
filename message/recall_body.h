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
class RecallBody final : public BodyContent {
public:
    explicit RecallBody(const recall_time_para &range) : start_(range.start), end_(range.end) {}

    void SpellJson(JsonText &out) const override {
        out.StartObject();
        out.Key("node");
        out.StartObject();
        out.Key("startdt");
        out.String(start_.Get());
        out.Key("enddt");
        out.String(end_.Get());
        out.EndObject();
        out.EndObject();
    }

    void SpellXml(xmlNodePtr data) const override {
        xmlNodePtr node = AddElement(data, "node");
        AddAttribute(node, "startdt", start_.Get());
        AddAttribute(node, "enddt", end_.Get());
    }

private:
    RecallTime start_;
    RecallTime end_;
};

}  // namespace corvenna
