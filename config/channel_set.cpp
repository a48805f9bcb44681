#include "config/channel_set.h"

#include <unistd.h>

#include <cstdio>

#include "base/text.h"
#include "base/xml.h"
#include "base/xml_attributes.h"
#include "config/configuration_document.h"
#include "log/log.h"

using namespace corvenna;

namespace {

// The load is paced, so that it takes a predictable time for each device.
constexpr useconds_t kPauseMicroseconds = 100000;

constexpr RootRule kRoot = {
    "ChannelConfig",
    "[LoadChannelParamFromXml]: Xml document is null",
    "[LoadChannelParamFromXml]: Empty document.",
    "[LoadChannelParamFromXml]: Root node is not 'ChannelConfig'",
};

constexpr Attribute<ST_DEV_ATTR> kDevice[] = {
    {"DeviceName", CORVENNA_TEXT(ST_DEV_ATTR, DeviceName, 127)},
    {"Name", CORVENNA_TEXT(ST_DEV_ATTR, Name, 127)},
    {"Protocol", CORVENNA_TEXT(ST_DEV_ATTR, Protocol, 127)},
    {"Desc", CORVENNA_TEXT(ST_DEV_ATTR, Desc, 127)},
    {"SlaveId",
     [](auto &dev, auto value) { dev.SlaveId = static_cast<std::uint8_t>(Decimal(value)); }},
    {"Group",
     [](auto &dev, auto value) { dev.GroupNo = static_cast<std::uint8_t>(Decimal(value)); }},
};

std::uint16_t DeviceNumber(const ST_DEV_ATTR &dev) {
    return static_cast<std::uint16_t>(dev.ChannelNo << 8 | dev.SlaveId);
}

template <class Map, class Key, class Record>
bool Find(Map &map, Key key, Record **out) {
    const auto found = map.find(key);
    if (found == map.end()) {
        return false;
    }
    *out = &found->second;
    return true;
}

template <class Map>
void HandOut(Map &map, Map **out) {
    if (out != nullptr) {
        *out = &map;
    }
}

}  // namespace

CChannelSet::CChannelSet() = default;

CChannelSet::~CChannelSet() = default;

int CChannelSet::Open(const char *path) {
    return document_.Attempt([&] {
        if (!document_.Open(path, XmlGuard())) {
            log_Text(kLogError, "Document %s parsed failed.", Shown(path));
            return -1;
        }
        return Load();
    });
}

int CChannelSet::LoadNodeFromXml() {
    return document_.Attempt([this] { return Load(); });
}

int CChannelSet::Load() {
    const xmlNode *root = document_.Root(kRoot, XmlGuard());
    if (root == nullptr) {
        return -1;
    }
    // On purpose: one record for the whole file. A device inherits from the one before it, even of
    // another channel, what it omits; only its display name starts empty.
    ST_DEV_ATTR dev{};
    for (const xmlNode *node = root->children; node != nullptr; node = node->next) {
        if (IsElement(node, "Channel")) {
            LoadChannel(node, dev);
        }
        usleep(kPauseMicroseconds);
    }
    return 0;
}

void CChannelSet::LoadChannel(const xmlNode *channel, ST_DEV_ATTR &dev) {
    if (const xmlAttr *number = FindAttribute(channel, "No")) {
        const XmlGuard guard;
        dev.ChannelNo = static_cast<std::uint8_t>(Decimal(AttributeText(number).Get()));
    }
    for (const xmlNode *node = channel->children; node != nullptr; node = node->next) {
        if (!IsElement(node, "Dev")) {
            continue;
        }
        dev.DeviceName[0] = '\0';
        {
            const XmlGuard guard;
            ReadAttributes(node, kDevice, dev);
        }
        devices_[DeviceNumber(dev)] = dev;
        ConfigurationDocument points;
        LoadPoints(dev, points);  // On purpose: a device without usable points stays a device.
        usleep(kPauseMicroseconds);
    }
}

int CChannelSet::Close() {
    return document_.Close();
}

int CChannelSet::IsOpen() const {
    return document_.IsOpen();
}

int CChannelSet::AddDev(ST_DEV_ATTR dev) {
    return UnlessOutOfMemory([&] {
        devices_[DeviceNumber(dev)] = dev;
        return 0;
    });
}

int CChannelSet::GetAttr(unsigned short devNo, ST_DEV_ATTR **out) {
    if (out == nullptr) {
        return -1;
    }
    if (!Find(devices_, devNo, out)) {
        std::printf("Can not find Device %04x's Attr\n", devNo);
        return -1;
    }
    return 0;
}

int CChannelSet::GetAttr(unsigned int dataId, ST_POINTID_ATTR **out) {
    if (out == nullptr) {
        return -1;
    }
    if (!Find(pointsById_, dataId, out)) {
        std::printf("Can not find DataId %08x's Attr \n", dataId);
        return -1;
    }
    return 0;
}

void CChannelSet::GetAttr(MAP_CHANNEL_POINT **out) {
    HandOut(pointsByChannel_, out);
}

void CChannelSet::GetAttr(MAP_DEV_ATTR **out) {
    HandOut(devices_, out);
}

void CChannelSet::GetAttr(MAP_POINTID_ATTR **out) {
    HandOut(pointsById_, out);
}
