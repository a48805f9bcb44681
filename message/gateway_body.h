#pragma once

#include "config/sys_set.h"
#include "message/body.h"

namespace corvenna {

/// The gateway's description. Its address is not sent.
class GatewayBody final : public BodyContent {
public:
    GatewayBody(const char *serial, const ST_GATEWAY_INFO &info) : serial_(serial), info_(info) {}

    void SpellJson(JsonText &out) const override {
        out.StartObject();
        out.Key("sn");
        out.String(JsonString(serial_));
        out.Key("name");
        out.String(info_.gateWayName);
        out.Key("ver");
        out.String(info_.version);
        out.Key("site");
        out.StartObject();
        out.Key("name");
        out.String(info_.stationName);
        out.Key("longitude");
        out.String(info_.longitude);
        out.Key("latitude");
        out.String(info_.latitude);
        out.EndObject();
        out.Key("owner");
        out.StartObject();
        out.Key("name");
        out.String(info_.ownerName);
        out.Key("desc");
        out.String(info_.ownerDesc);
        out.EndObject();
        out.Key("room");
        out.StartObject();
        out.Key("name");
        out.String(info_.roomName);
        out.Key("desc");
        out.String(info_.roomDesc);
        out.Key("camera");
        out.String("reserve");
        out.EndObject();
        out.EndObject();
    }

    void SpellXml(xmlNodePtr data) const override {
        xmlNodePtr gateway = AddElement(data, "gw");
        AddAttribute(gateway, "sn", serial_);
        AddAttribute(gateway, "name", info_.gateWayName);
        AddAttribute(gateway, "ver", info_.version);
        xmlNodePtr site = AddElement(gateway, "site");
        AddAttribute(site, "name", info_.stationName);
        AddAttribute(site, "longitude", info_.longitude);
        AddAttribute(site, "latitude", info_.latitude);
        xmlNodePtr owner = AddElement(gateway, "owner");
        AddAttribute(owner, "name", info_.ownerName);
        AddAttribute(owner, "desc", info_.ownerDesc);
        xmlNodePtr room = AddElement(gateway, "room");
        AddAttribute(room, "name", info_.roomName);
        AddAttribute(room, "desc", info_.roomDesc);
        AddAttribute(room, "camera", "reserve");
    }

private:
    const char *serial_;
    const ST_GATEWAY_INFO &info_;
};

}  // namespace corvenna
