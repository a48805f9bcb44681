#include "base/text.h"
#include "base/xml.h"
#include "base/xml_attributes.h"
#include "base/xml_children.h"
#include "config/channel_set.h"
#include "config/configuration_document.h"
#include "config/data_id.h"

using namespace corvenna;

namespace {

constexpr RootRule kRoot = {
    "DevConfig",
    "[LoadDevPointAttr]: parsed Parse failed",
    "[LoadDevPointAttr]: empty document",
    "[LoadDevPointAttr]:  wrong type, root node != DevConfig",
};

struct PointType {
    const char *element;
    std::uint8_t code;
};

constexpr PointType kPointTypes[] = {{"AI", 0}, {"DI", 1}, {"ACC", 2}, {"DO", 3}, {"AO", 4}};

const PointType *PointTypeOf(const xmlNode *node) {
    for (const PointType &type : kPointTypes) {
        if (IsElement(node, type.element)) {
            return &type;
        }
    }
    return nullptr;
}

void SetNumber(ST_POINTID_ATTR &point, const char *value) {
    const auto number = static_cast<std::uint32_t>(Decimal(value));
    point.NodeId = static_cast<std::uint16_t>(number);
    point.db_link = DataId(point.GroupNo, point.DevId, point.type, number);
}

constexpr Attribute<ST_POINTID_ATTR> kNode[] = {
    {"Id", SetNumber},
    {"Name", CORVENNA_TEXT(ST_POINTID_ATTR, Name, 127)},
    {"EUUnits", CORVENNA_TEXT(ST_POINTID_ATTR, EUUnits, 127)},
};

/// Replaces or adds; as cheap as appending where keys come in ascending order.
void Put(MAP_POINTID_ATTR &points, const ST_POINTID_ATTR &point) {
    const std::uint32_t id = point.db_link;  // the field of a packed record binds to no reference
    points.insert_or_assign(points.end(), id, point);
}

}  // namespace

int CChannelSet::LoadDevPointAttr(ST_DEV_ATTR dev) {
    ConfigurationDocument document;
    return document.Attempt([&] { return LoadPoints(dev, document); });
}

int CChannelSet::LoadPoints(const ST_DEV_ATTR &dev, ConfigurationDocument &document) {
    const XmlGuard guard;
    document.Parse(dev.Name, guard);
    const xmlNode *root = document.Root(kRoot, guard);
    if (root == nullptr) {
        return -1;
    }
    // On purpose: one record for the whole file. A node inherits what it omits; one without "Id"
    // replaces the point before it. "Num", the declared count, is not looked at.
    ST_POINTID_ATTR point{};
    point.GroupNo = dev.ChannelNo;
    point.DevId = dev.SlaveId;
    MAP_POINTID_ATTR *ofDevice = nullptr;  // made with the first point: without one, no entry
    ForEachChild(root, "NodeProperty", [&](const xmlNode *property) {
        for (const xmlNode *node = property->children; node != nullptr; node = node->next) {
            const PointType *type = PointTypeOf(node);
            if (type == nullptr) {
                continue;
            }
            point.type = type->code;
            ForEachChild(node, "Node", [&](const xmlNode *element) {
                ReadAttributes(element, kNode, point);
                if (ofDevice == nullptr) {
                    ofDevice = &pointsByChannel_[point.GroupNo][point.DevId];
                }
                Put(*ofDevice, point);
                Put(pointsById_, point);
            });
        }
    });
    return 0;
}

int CChannelSet::AddSamplePoint(ST_POINTID_ATTR point) {
    return UnlessOutOfMemory([&] {
        Put(pointsByChannel_[point.GroupNo][point.DevId], point);
        Put(pointsById_, point);
        return 0;
    });
}
