#include "packfile/real_data_xml.h"

#include "base/text.h"
#include "base/xml.h"
#include "packfile/value_text.h"

// The twins of real data differ on purpose; receivers tell them apart by the file extension.
//
//                                  JSON                          XML
// device number, channel           numbers                       texts
// order of a point                 dblink, name, unit, value     dblink, name, value, unit
//   in channel 192                 the same                      name, dblink, value, unit
// status point of a device up      value "1", unit ""            value measured (by the cursor, in
//                                                                the channel set), unit as any
//                                                                other point's
// unit in the forwarding tables    ""                            "", in channel 192 " "

namespace corvenna {
namespace {

class RealDataXml final : public RealDataSpeller {
public:
    explicit RealDataXml(XmlLines &lines) : lines_(lines) {}

    bool MeasuresStatus() const override { return true; }

    void BeginDevice(unsigned channel, unsigned device) override {
        guard_.emplace();
        lines_.Begin("device", {{"id", DecimalText(static_cast<int>(device)).Get()},
                                {"channel", DecimalText(static_cast<int>(channel)).Get()}});
    }

    void Point(const PointFact &point) override {
        if (point.channel192) {
            Channel192Point(point);
        } else if (point.kind == PointKind::kStatusDown) {
            Entry(point.id, kCommStatus, "0", "");
        } else {
            const bool isStatus = point.kind == PointKind::kStatusUp;
            Entry(point.id, isStatus ? kCommStatus : point.name, ValueText<15>(point.value).Get(),
                  point.unit);
        }
    }

    void EndDevice() override {
        lines_.End("device");
        guard_.reset();
    }

private:
    void Entry(std::uint32_t id, const char *name, const char *value, const char *unit) {
        lines_.Entry(node_, {DataIdText(id).Get(), name, value, unit});
    }

    void Channel192Point(const PointFact &point) {
        // On purpose: a blank for the unit that forwarding lacks, in this channel alone.
        lines_.Entry(channel192Node_,
                     {point.name, DataIdText(point.id).Get(), ValueText<15>(point.value).Get(),
                      point.forwarded ? " " : point.unit});
    }

    XmlLines &lines_;
    XmlEntry node_{"node", {"dblink", "name", "value", "unit"}};
    // On purpose: "name" before "dblink" in this channel alone.
    XmlEntry channel192Node_{"node", {"name", "dblink", "value", "unit"}};
    std::optional<XmlGuard> guard_;  ///< held between BeginDevice and EndDevice
};

}  // namespace

std::optional<std::uint32_t> SpellRealDataXml(const RealDataSource &source, const char *logdt,
                                              XmlLines &lines) {
    {
        const XmlGuard guard;
        lines.Begin("data", {{"logdt", logdt}});
    }
    RealDataXml speller(lines);
    const auto missing = WalkRealData(source, speller);
    if (!missing) {
        const XmlGuard guard;
        lines.End("data");
    }
    return missing;
}

}  // namespace corvenna
