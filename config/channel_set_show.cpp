#include <cstdio>

#include "config/channel_set.h"

namespace {

/// A point on one line. The catalogue indents it under its device.
void ShowPoint(const char *indent, const ST_POINTID_ATTR &point) {
    std::printf(
        "%sName = %s,GroupNo = %d,DevId = %d,type = %d,NodeId = %d,db_link = %08x,EUUnits = %s\n",
        indent, point.Name, point.GroupNo, point.DevId, point.type, point.NodeId, point.db_link,
        point.EUUnits);
}

}  // namespace

int CChannelSet::ShowDevInfo(const ST_DEV_ATTR *dev) {
    if (dev == nullptr) {
        std::puts("ShowDevInfo(ST_DEV_ATTR *p),err,pointer is null");
        return -1;
    }
    std::printf(
        "       Name=%s\n"
        "       Protocol=%s\n"
        "       Desc=%s\n"
        "       SlaveId=%d\n"
        "       GroupNo=%d\n"
        "       ChannelNo=%d\n",
        dev->Name, dev->Protocol, dev->Desc, dev->SlaveId, dev->GroupNo, dev->ChannelNo);
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
