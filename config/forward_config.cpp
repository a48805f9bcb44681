#include "config/forward_config.h"

#include <cstdlib>
#include <cstring>

#include "base/text.h"
#include "base/xml.h"
#include "base/xml_attributes.h"
#include "base/xml_children.h"
#include "config/configuration_document.h"
#include "log/log.h"

using namespace corvenna;

namespace {

constexpr RootRule kRoot = {
    "Fwd_srv",
    "[LoadForwardParamFromXml]: Xml document is null",
    "[LoadForwardParamFromXml]: Empty document.",
    "[LoadForwardParamFromXml]: Root node is not 'Fwd_srv'",
};

enum class Protocol { kOther, kModbusTcp, kIec104 };

Protocol ProtocolOf(const char *name) {
    if (std::strcmp(name, "MODBUS_TCP") == 0) {
        return Protocol::kModbusTcp;
    }
    return std::strcmp(name, "IEC104") == 0 ? Protocol::kIec104 : Protocol::kOther;
}

/// The channel being read. One for the whole file.
struct Channel {
    Protocol protocol = Protocol::kOther;
    std::uint8_t address = 0;
};

/// The point being read. Channel number and slave address carry over to the next one.
struct Point {
    std::string name;
    std::uint32_t dataId = 0;
    std::uint8_t channel = 0;
    std::uint8_t slave = 0;
};

constexpr Attribute<Channel> kChannel[] = {
    {"lnk_p", [](auto &channel, auto value) { channel.protocol = ProtocolOf(value); }},
    {"addr", [](auto &channel,
                auto value) { channel.address = static_cast<std::uint8_t>(Decimal(value)); }},
};

void SetDataId(Point &point, const char *value) {
    point.dataId = static_cast<std::uint32_t>(std::strtoul(value, nullptr, 16));
    point.channel = static_cast<std::uint8_t>(point.dataId >> 24);
    point.slave = static_cast<std::uint8_t>(point.dataId >> 16);
}

constexpr Attribute<Point> kPoint[] = {
    {"PointName",
     [](auto &point, auto value) {
         if (*value != '\0') {
             point.name = value;
         }
     }},
    {"db_link", SetDataId},
};

void ReadPoint(const xmlNode *element, Point &point, std::uint8_t address, MAP_FORWARD &map) {
    point.name.clear();
    point.dataId = 0;
    ReadAttributes(element, kPoint, point);
    if (!point.name.empty()) {
        map[address][point.channel][point.slave][point.name] = point.dataId;
    }
}

}  // namespace

CForwardConfig::CForwardConfig() = default;

CForwardConfig::~CForwardConfig() = default;

int CForwardConfig::Open(const char *path) {
    return document_.Attempt([&] {
        const XmlGuard guard;
        if (!document_.Open(path, guard)) {
            log_Text(kLogError, "Document %s parsed failed.", Shown(path));
            return -1;
        }
        return Load(guard);
    });
}

int CForwardConfig::LoadNodeFromXml() {
    return document_.Attempt([this] { return Load(XmlGuard()); });
}

int CForwardConfig::Load(const XmlGuard &guard) {
    const xmlNode *root = document_.Root(kRoot, guard);
    if (root == nullptr) {
        return -1;
    }
    // On purpose: neither record is reset between elements, so that what one omits is inherited.
    Channel channel;
    Point point;
    ForEachChild(root, "Fwd_chan", [&](const xmlNode *chan) {
        ReadAttributes(chan, kChannel, channel);
        if (channel.protocol != Protocol::kModbusTcp) {
            return;
        }
        ForEachChild(chan, "Fwd_tbl", [&](const xmlNode *table) {
            ForEachChild(table, "pt", [&](const xmlNode *element) {
                ReadPoint(element, point, channel.address, map_);
            });
        });
    });
    return 0;
}

int CForwardConfig::Close() {
    return document_.Close();
}

int CForwardConfig::IsOpen() const {
    return document_.IsOpen();
}
