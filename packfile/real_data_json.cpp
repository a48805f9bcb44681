#include "packfile/real_data_json.h"

#include "packfile/json_values.h"

namespace corvenna {
namespace {

template <class Out>
class RealDataJson final : public RealDataSpeller {
public:
    explicit RealDataJson(Out &out) : out_(out) {}

    // On purpose: a status point that is up is "1" whatever was measured; only XML shows the value.
    bool MeasuresStatus() const override { return false; }

    void BeginDevice(unsigned channel, unsigned device) override {
        out_.StartObject();
        out_.Key("id");
        out_.Uint(device);
        out_.Key("channel");
        out_.Uint(channel);
        out_.Key("node");
        out_.StartArray();
    }

    void Point(const PointFact &point) override {
        out_.StartObject();
        out_.Key("dblink");
        SpellId(point.id, out_);
        out_.Key("name");
        if (point.kind == PointKind::kOrdinary) {
            out_.String(point.name);
            out_.Key("unit");
            out_.String(point.unit);
            out_.Key("value");
            SpellValue<15>(point.value, out_);
        } else {
            out_.String(kCommStatus);
            out_.Key("unit");
            out_.String("");
            out_.Key("value");
            out_.String(point.kind == PointKind::kStatusUp ? "1" : "0");
        }
        out_.EndObject();
    }

    void EndDevice() override {
        out_.EndArray();
        out_.EndObject();
    }

private:
    Out &out_;
};

template <class Out>
std::optional<std::uint32_t> Spell(const RealDataSource &source, const char *logdt, Pace pace,
                                   Out &out) {
    out.StartObject();
    out.Key("logdt");
    out.String(logdt);
    out.Key("device");
    out.StartArray();
    RealDataJson<Out> speller(out);
    const auto missing = WalkRealData(source, pace, speller);
    out.EndArray();
    out.EndObject();
    return missing;
}

}  // namespace

JsonSize MeasureRealDataJson(const RealDataSource &source, const char *logdt) {
    JsonSize size;
    Spell(source, logdt, Pace::kCounting, size);
    return size;
}

std::optional<std::uint32_t> SpellRealDataJson(const RealDataSource &source, const char *logdt,
                                               JsonText &text) {
    return Spell(source, logdt, Pace::kResting, text);
}

}  // namespace corvenna
