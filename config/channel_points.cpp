#include "base/attributes.h"
#include "base/children.h"
#include "base/text.h"
#include "base/xml.h"
#include "config/channel_set.h"
#include "config/data_id.h"
#include "config/root.h"
#include "log/log.h"

namespace {

using corvenna::Attribute;
using corvenna::CopyText;
using corvenna::Decimal;
using corvenna::ForEachChild;
using corvenna::ReadAttributes;
using corvenna::XmlDocument;
using corvenna::XmlGuard;

constexpr corvenna::RootMessages kRootMessages = {
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
        if (corvenna::IsElement(node, type.element)) {
            return &type;
        }
    }
    return nullptr;
}

void SetNumber(ST_POINTID_ATTR &point, const char *value) {
    const auto number = static_cast<std::uint32_t>(Decimal(value));
    point.NodeId = static_cast<std::uint16_t>(number);
    point.db_link = corvenna::DataId(point.GroupNo, point.DevId, point.type, number);
}

constexpr Attribute<ST_POINTID_ATTR> kNode[] = {
    {"Id", SetNumber},
    {"Name", [](auto &point, auto value) { CopyText<127>(point.Name, value); }},
    {"EUUnits", [](auto &point, auto value) { CopyText<127>(point.EUUnits, value); }},
};

/// Replaces or adds; as cheap as appending where keys come in ascending order.
void Put(MAP_POINTID_ATTR &points, const ST_POINTID_ATTR &point) {
    const std::uint32_t id = point.db_link;  // the field of a packed record binds to no reference
    points.insert_or_assign(points.end(), id, point);
}

}  // namespace

int CChannelSet::LoadDevPointAttr(ST_DEV_ATTR dev) {
    const XmlGuard guard;
    XmlDocument document = corvenna::ParseConfiguration(dev.Name);
    const xmlNode *root = corvenna::CheckRoot(document, "DevConfig", kRootMessages);
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
    Put(pointsByChannel_[point.GroupNo][point.DevId], point);
    Put(pointsById_, point);
    return 0;
}
