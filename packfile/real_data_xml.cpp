#include "packfile/real_data_xml.h"

#include "base/text.h"
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
    explicit RealDataXml(xmlNodePtr root) : root_(root) {}

    bool MeasuresStatus() const override { return true; }

    void BeginDevice(unsigned channel, unsigned device) override {
        guard_.emplace();
        device_ = AddElement(root_, "device");
        AddAttribute(device_, "id", DecimalText(static_cast<int>(device)).Get());
        AddAttribute(device_, "channel", DecimalText(static_cast<int>(channel)).Get());
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

    void EndDevice() override { guard_.reset(); }

private:
    void Entry(std::uint32_t id, const char *name, const char *value, const char *unit) {
        xmlNodePtr node = AddElement(device_, "node");
        AddAttribute(node, "dblink", DataIdText(id).Get());
        AddAttribute(node, "name", name);
        AddAttribute(node, "value", value);
        AddAttribute(node, "unit", unit);
    }

    void Channel192Point(const PointFact &point) {
        xmlNodePtr node = AddElement(device_, "node");
        // On purpose: "name" before "dblink", and a blank for the unit that forwarding lacks, in
        // this channel alone.
        AddAttribute(node, "name", point.name);
        AddAttribute(node, "dblink", DataIdText(point.id).Get());
        AddAttribute(node, "value", ValueText<15>(point.value).Get());
        AddAttribute(node, "unit", point.forwarded ? " " : point.unit);
    }

    xmlNodePtr root_;
    xmlNodePtr device_ = nullptr;
    std::optional<XmlGuard> guard_;  ///< held between BeginDevice and EndDevice
};

void AddTime(XmlTree &tree, const char *logdt) {
    const XmlGuard guard;
    AddAttribute(tree.Root(), "logdt", logdt);
}

}  // namespace

std::optional<std::uint32_t> BuildRealDataXml(const RealDataSource &source, const char *logdt,
                                              XmlTree &tree) {
    AddTime(tree, logdt);
    RealDataXml speller(tree.Root());
    return WalkRealData(source, Pace::kResting, speller);
}

}  // namespace corvenna
