#include "packfile/real_data_json.h"

#include "packfile/json_values.h"

namespace corvenna {
namespace {

class RealDataJson final : public RealDataSpeller {
public:
    explicit RealDataJson(JsonText &text) : text_(text) {}

    // On purpose: a status point that is up is "1" whatever was measured; only XML shows the value.
    bool MeasuresStatus() const override { return false; }

    void BeginDevice(unsigned channel, unsigned device) override {
        text_.StartObject();
        text_.Key("id");
        text_.Uint(device);
        text_.Key("channel");
        text_.Uint(channel);
        text_.Key("node");
        text_.StartArray();
    }

    void Point(const PointFact &point) override {
        text_.StartObject();
        text_.Key("dblink");
        SpellId(point.id, text_);
        text_.Key("name");
        if (point.kind == PointKind::kOrdinary) {
            text_.String(point.name);
            text_.Key("unit");
            text_.String(point.unit);
            text_.Key("value");
            SpellValue<15>(point.value, text_);
        } else {
            text_.String(kCommStatus);
            text_.Key("unit");
            text_.String("");
            text_.Key("value");
            text_.String(point.kind == PointKind::kStatusUp ? "1" : "0");
        }
        text_.EndObject();
    }

    void EndDevice() override {
        text_.EndArray();
        text_.EndObject();
    }

private:
    JsonText &text_;
};

}  // namespace

std::optional<std::uint32_t> SpellRealDataJson(const RealDataSource &source, const char *logdt,
                                               JsonText &text) {
    text.StartObject();
    text.Key("logdt");
    text.String(logdt);
    text.Key("device");
    text.StartArray();
    RealDataJson speller(text);
    const auto missing = WalkRealData(source, speller);
    text.EndArray();
    text.EndObject();
    return missing;
}

}  // namespace corvenna
