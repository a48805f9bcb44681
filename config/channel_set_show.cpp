#include <cstdio>

#include "config/channel_set.h"

namespace {

/// A point on one line. The catalogue indents it under its device.
void ShowPoint(const char *indent, const ST_POINTID_ATTR &point) {
    std::printf("%sName = %s,", indent, point.Name);
    std::printf("GroupNo = %d,", point.GroupNo);
    std::printf("DevId = %d,", point.DevId);
    std::printf("type = %d,", point.type);
    std::printf("NodeId = %d,", point.NodeId);
    std::printf("db_link = %08x,", point.db_link);
    std::printf("EUUnits = %s\n", point.EUUnits);
}

}  // namespace

int CChannelSet::ShowDevInfo(const ST_DEV_ATTR *dev) {
    if (dev == nullptr) {
        std::puts("ShowDevInfo(ST_DEV_ATTR *p),err,pointer is null");
        return -1;
    }
    std::printf("       Name=%s\n", dev->Name);
    std::printf("       Protocol=%s\n", dev->Protocol);
    std::printf("       Desc=%s\n", dev->Desc);
    std::printf("       SlaveId=%d\n", dev->SlaveId);
    std::printf("       GroupNo=%d\n", dev->GroupNo);
    std::printf("       ChannelNo=%d\n", dev->ChannelNo);
    return 0;
}

int CChannelSet::ShowDevInfo(const MAP_DEV_ATTR *devices) {
    if (devices == nullptr) {
        std::puts("ShowDevInfo(MAP_DEV_ATTR *p),err,pointer is null");
        return -1;
    }
    for (const auto &[number, dev] : *devices) {
        std::printf("DevNo = %04x\n", number);
        ShowDevInfo(&dev);
    }
    return 0;
}

int CChannelSet::ShowSamplePointInfo(const ST_POINTID_ATTR *point) {
    if (point == nullptr) {
        std::puts("ShowSamplePointInfo(ST_POINTID_ATTR *p) err,pointer is NULL");
        return -1;
    }
    ShowPoint("", *point);
    return 0;
}

int CChannelSet::ShowSamplePointInfo(const MAP_CHANNEL_POINT *points) {
    if (points == nullptr) {
        return -1;
    }
    for (const auto &[channel, devices] : *points) {
        std::printf("Group Number = %d\n", channel);
        for (const auto &[slave, devicePoints] : devices) {
            std::printf("    |Dev Number = %d\n", slave);
            for (const auto &[dataId, point] : devicePoints) {
                ShowPoint("        |", point);
            }
        }
    }
    return 0;
}
