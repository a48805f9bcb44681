#pragma once

#include "config/sys_set.h"
#include "message/body.h"

namespace corvenna {

/// The gateway's description. Its address is not sent.
struct GatewayBody {
    const char *serial;
    const ST_GATEWAY_INFO &info;

    template <class Out>
    void SpellJson(Out &out) const {
        out.StartObject();
        out.Key("sn");
        out.String(JsonString(serial));
        out.Key("name");
        out.String(info.gateWayName);
        out.Key("ver");
        out.String(info.version);
        out.Key("site");
        out.StartObject();
        out.Key("name");
        out.String(info.stationName);
        out.Key("longitude");
        out.String(info.longitude);
        out.Key("latitude");
        out.String(info.latitude);
        out.EndObject();
        out.Key("owner");
        out.StartObject();
        out.Key("name");
        out.String(info.ownerName);
        out.Key("desc");
        out.String(info.ownerDesc);
        out.EndObject();
        out.Key("room");
        out.StartObject();
        out.Key("name");
        out.String(info.roomName);
        out.Key("desc");
        out.String(info.roomDesc);
        out.Key("camera");
        out.String("reserve");
        out.EndObject();
        out.EndObject();
    }

    void SpellXml(xmlNodePtr data) const {
        xmlNodePtr gateway = AddElement(data, "gw");
        AddAttribute(gateway, "sn", serial);
        AddAttribute(gateway, "name", info.gateWayName);
        AddAttribute(gateway, "ver", info.version);
        xmlNodePtr site = AddElement(gateway, "site");
        AddAttribute(site, "name", info.stationName);
        AddAttribute(site, "longitude", info.longitude);
        AddAttribute(site, "latitude", info.latitude);
        xmlNodePtr owner = AddElement(gateway, "owner");
        AddAttribute(owner, "name", info.ownerName);
        AddAttribute(owner, "desc", info.ownerDesc);
        xmlNodePtr room = AddElement(gateway, "room");
        AddAttribute(room, "name", info.roomName);
        AddAttribute(room, "desc", info.roomDesc);
        AddAttribute(room, "camera", "reserve");
    }
};

}  // namespace corvenna
