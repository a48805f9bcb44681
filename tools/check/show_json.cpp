#include <libxml/xmlstring.h>

#include <cstdint>
#include <string>

#include "base/json.h"
#include "tools/check/plant.h"
#include "tools/check/show.h"

namespace corvenna::check {

namespace {

using Json = rapidjson::Writer<rapidjson::StringBuffer>;

/// A text that was cut may end in the middle of a letter.
std::string Whole(std::string text) {
    while (!text.empty() &&
           xmlCheckUTF8(reinterpret_cast<const unsigned char *>(text.c_str())) == 0) {
        text.pop_back();
    }
    return text;
}

void Text(Json &writer, const char *name, const std::string &value) {
    writer.Key(name);
    writer.String(Whole(value).c_str());
}

void Number(Json &writer, const char *name, std::int64_t value) {
    writer.Key(name);
    writer.Int64(value);
}

void Flag(Json &writer, const char *name, bool value) {
    writer.Key(name);
    writer.Bool(value);
}

/// A list of objects under a name, each with the members that write() gives it.
template <class Items, class Write>
void List(Json &writer, const char *name, const Items &items, Write write) {
    writer.Key(name);
    writer.StartArray();
    for (const auto &item : items) {
        writer.StartObject();
        write(item);
        writer.EndObject();
    }
    writer.EndArray();
}

void Settings(Json &writer, const Loaded &loaded) {
    const auto &cloud = *loaded.system.GetCloudConfigAttr();
    const auto &https = *loaded.system.GetHttpsCertInfo();
    writer.Key("settings");
    writer.StartObject();
    Flag(writer, "on", cloud.checked != 0);
    Text(writer, "cloudip", cloud.cloudip);
    Number(writer, "port", cloud.port);
    Text(writer, "Dir", cloud.Dir);
    Number(writer, "RealDataInv", cloud.RealDataInv);
    Number(writer, "AlarmDataInv", cloud.AlarmDataInv);
    Number(writer, "HeartInterval", cloud.HeartBeatInv);
    Number(writer, "FailInterval", cloud.CheckFailInv);
    Number(writer, "RecallInterval", cloud.RecallInv);
    Text(writer, "FileType", cloud.filetype);
    Flag(writer, "compressed", cloud.isCompress != 0);
    Number(writer, "TcpChannel", cloud.TcpChannel);
    Flag(writer, "https", https.checked != 0);
    Text(writer, "certfile", https.certfile);
    Text(writer, "user", https.user);
    Flag(writer, "password", https.passwd[0] != '\0');
    writer.EndObject();
}

void Identity(Json &writer, const Loaded &loaded) {
    const auto &info = *loaded.system.GetGateWayAttr();
    writer.Key("identity");
    writer.StartObject();
    Text(writer, "sn", loaded.identity.GetSn());
    Number(writer, "number", loaded.SerialNumber());
    Number(writer, "model", loaded.identity.GetModel());
    Text(writer, "version", info.version);
    Text(writer, "gatewayName", info.gateWayName);
    Text(writer, "address", info.address);
    Text(writer, "stationName", info.stationName);
    Text(writer, "longitude", info.longitude);
    Text(writer, "latitude", info.latitude);
    Text(writer, "ownerName", info.ownerName);
    Text(writer, "ownerDesc", info.ownerDesc);
    Text(writer, "roomName", info.roomName);
    Text(writer, "roomDesc", info.roomDesc);
    writer.EndObject();
}

void Devices(Json &writer, const Loaded &loaded) {
    List(writer, "devices", loaded.Devices(), [&](const auto &entry) {
        const ST_DEV_ATTR &device = entry.second;
        Number(writer, "channel", device.ChannelNo);
        Number(writer, "address", device.SlaveId);
        Text(writer, "DeviceName", device.DeviceName);
        Text(writer, "name", SentName(device.Name));
        Text(writer, "file", device.Name);
        Text(writer, "Protocol", device.Protocol);
        Text(writer, "Desc", device.Desc);
        Number(writer, "Group", device.GroupNo);
    });
}

void Points(Json &writer, const Loaded &loaded) {
    List(writer, "points", loaded.Points(), [&](const auto &entry) {
        const ST_POINTID_ATTR &point = entry.second;
        Text(writer, "dblink", Hexadecimal(entry.first));
        Number(writer, "channel", point.GroupNo);
        Number(writer, "address", point.DevId);
        Text(writer, "type", TypeName(point.type));
        Number(writer, "number", point.NodeId);
        Text(writer, "name", point.Name);
        Text(writer, "unit", point.EUUnits);
    });
}

void Forwarding(Json &writer, const Loaded &loaded) {
    List(writer, "forwarding", loaded.Forwarded(), [&](const ForwardedPoint &point) {
        Number(writer, "addr", point.forwardChannel);
        Number(writer, "channel", point.channel);
        Number(writer, "address", point.address);
        Text(writer, "dblink", Hexadecimal(point.id));
        Text(writer, "name", point.name);
    });
}

void Found(Json &writer, const Findings &findings) {
    List(writer, "findings", findings, [&](const Finding &finding) {
        Text(writer, "severity", finding.severity == Severity::kError ? "error" : "warning");
        Text(writer, "rule", finding.rule);
        Text(writer, "file", finding.place.file);
        Number(writer, "line", finding.place.line);
        Text(writer, "element", finding.place.element);
        Text(writer, "what", finding.what);
        Text(writer, "effect", finding.effect);
        Text(writer, "advice", finding.advice);
    });
}

/// A cell of RFC 4180.
std::string Csv(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char letter : text) {
        quoted += letter == '"' ? "\"\"" : std::string(1, letter);
    }
    return quoted + "\"";
}

}  // namespace

std::string AsJson(const Report &report) {
    rapidjson::StringBuffer text;
    Json writer(text);
    writer.StartObject();
    Text(writer, "folder", report.folder);
    Flag(writer, "loads", report.loaded.Loads());
    Number(writer, "errors", static_cast<std::int64_t>(report.Count(Severity::kError)));
    Number(writer, "warnings", static_cast<std::int64_t>(report.Count(Severity::kWarning)));
    Found(writer, report.findings);
    Settings(writer, report.loaded);
    Identity(writer, report.loaded);
    Devices(writer, report.loaded);
    Points(writer, report.loaded);
    Forwarding(writer, report.loaded);
    writer.Key("log");
    writer.StartArray();
    for (const std::string &line : report.loaded.Log()) {
        writer.String(Whole(line).c_str());
    }
    writer.EndArray();
    writer.EndObject();
    return std::string(text.GetString()) + "\n";
}

std::string PointsAsCsv(const Loaded &loaded) {
    const MAP_DEV_ATTR &devices = loaded.Devices();
    std::string text = "data_id,channel,address,device,type,number,name,unit\n";
    for (const auto &[id, point] : loaded.Points()) {
        const auto device = devices.find(static_cast<std::uint16_t>(id >> 16U));
        text += Hexadecimal(id) + "," + std::to_string(point.GroupNo) + "," +
                std::to_string(point.DevId) + "," +
                (device == devices.end() ? "" : Csv(device->second.DeviceName)) + "," +
                TypeName(point.type) + "," + std::to_string(point.NodeId) + "," + Csv(point.Name) +
                "," + Csv(point.EUUnits) + "\n";
    }
    return text;
}

}  // namespace corvenna::check
