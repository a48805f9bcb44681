#include <algorithm>
#include <vector>

#include "tools/check/plant.h"
#include "tools/check/show.h"
#include "tools/check/vocabulary.h"

namespace corvenna::check {

namespace {

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

/// Nothing in a name may steer a terminal or break a table.
std::string Cell(const std::string &text) {
    std::string cell = text;
    std::replace_if(
        cell.begin(), cell.end(),
        [](unsigned char letter) { return letter < 0x20 || letter == 0x7F; }, ' ');
    return cell;
}

/// Letters, as far as bytes of UTF-8 tell.
std::size_t WidthOf(const std::string &text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](unsigned char byte) { return (byte & 0xC0U) != 0x80U; }));
}

/// Columns as wide as their widest cell, the first row in front as their names.
std::string Table(const std::string &title, const Rows &rows) {
    std::vector<std::size_t> widths;
    for (const Row &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], WidthOf(row[i]));
        }
    }
    std::string text = title + "\n";
    for (const Row &row : rows) {
        std::string line = " ";
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += " " + row[i] + std::string(widths[i] - WidthOf(row[i]) + 1, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text + "\n";
}

std::string Seconds(std::int16_t interval) {
    return interval < 0 ? "never (" + std::to_string(interval) + ")"
                        : std::to_string(interval) + " s";
}

std::string Settings(const Loaded &loaded) {
    const auto &cloud = *loaded.system.GetCloudConfigAttr();
    const auto &https = *loaded.system.GetHttpsCertInfo();
    const bool secure = https.checked != 0;
    return Table("Settings",
                 {{"cloud service", cloud.checked != 0 ? "on" : "off"},
                  {"server", Cell(std::string(secure ? "https://" : "http://") + cloud.cloudip +
                                  ":" + std::to_string(cloud.port) + cloud.Dir)},
                  {"real data", Seconds(cloud.RealDataInv)},
                  {"alarms", Seconds(cloud.AlarmDataInv)},
                  {"heartbeat", Seconds(cloud.HeartBeatInv)},
                  {"check of failures", Seconds(cloud.CheckFailInv)},
                  {"recalls", Seconds(cloud.RecallInv)},
                  {"format", Cell(cloud.filetype) + (cloud.isCompress != 0 ? ", deflated" : "")},
                  {"forwarding channel",
                   cloud.TcpChannel == 0 ? "none: all points" : std::to_string(cloud.TcpChannel)},
                  {"certificate file", Cell(https.certfile)},
                  {"user", Cell(https.user)},
                  {"password", https.passwd[0] == '\0' ? "none" : "there is one"}});
}

std::string Identity(const Loaded &loaded) {
    const auto &info = *loaded.system.GetGateWayAttr();
    return Table("Identity", {{"serial text", Cell(loaded.identity.GetSn())},
                              {"serial number", std::to_string(loaded.SerialNumber())},
                              {"model number", std::to_string(loaded.identity.GetModel())},
                              {"version", Cell(info.version)},
                              {"gateway", Cell(info.gateWayName)},
                              {"address", Cell(info.address)},
                              {"station", Cell(info.stationName)},
                              {"position", Cell(std::string(info.longitude) + " " + info.latitude)},
                              {"owner", Cell(std::string(info.ownerName) + " " + info.ownerDesc)},
                              {"room", Cell(std::string(info.roomName) + " " + info.roomDesc)}});
}

std::size_t PointsOf(const MAP_CHANNEL_POINT &points, const ST_DEV_ATTR &device) {
    const auto channel = points.find(device.ChannelNo);
    if (channel == points.end()) {
        return 0;
    }
    const auto found = channel->second.find(device.SlaveId);
    return found == channel->second.end() ? 0 : found->second.size();
}

std::string Devices(const Loaded &loaded) {
    Rows rows = {{"channel", "address", "device", "name at the server", "points", "protocol",
                  "group", "description", "point file"}};
    for (const auto &[number, device] : loaded.Devices()) {
        rows.push_back({std::to_string(device.ChannelNo), std::to_string(device.SlaveId),
                        Cell(device.DeviceName), Cell(SentName(device.Name)),
                        std::to_string(PointsOf(loaded.PointsOfDevices(), device)),
                        Cell(device.Protocol), std::to_string(device.GroupNo), Cell(device.Desc),
                        Cell(device.Name)});
    }
    return Table("Channels and devices", rows);
}

std::string Points(const Loaded &loaded) {
    Rows rows = {{"data id", "channel", "address", "type", "number", "name", "unit"}};
    for (const auto &[id, point] : loaded.Points()) {
        rows.push_back({Hexadecimal(id), std::to_string(point.GroupNo), std::to_string(point.DevId),
                        TypeName(point.type), std::to_string(point.NodeId), Cell(point.Name),
                        Cell(point.EUUnits)});
    }
    return Table("Points", rows);
}

std::string Forwarding(const Loaded &loaded) {
    Rows rows = {{"forwarding channel", "channel", "address", "data id", "name"}};
    for (const ForwardedPoint &point : loaded.Forwarded()) {
        rows.push_back({std::to_string(point.forwardChannel), std::to_string(point.channel),
                        std::to_string(point.address), Hexadecimal(point.id), Cell(point.name)});
    }
    return Table("Forwarding tables", rows);
}

}  // namespace

const char *TypeName(unsigned code) {
    for (const PointType &type : kPointTypes) {
        if (type.code == code) {
            return type.element;
        }
    }
    return "?";
}

std::size_t Report::Count(Severity severity) const {
    return static_cast<std::size_t>(
        std::count_if(findings.begin(), findings.end(),
                      [severity](const Finding &one) { return one.severity == severity; }));
}

std::string AsText(const Findings &findings) {
    std::string text;
    for (const Finding &finding : findings) {
        const bool isError = finding.severity == Severity::kError;
        text += std::string(isError ? "error: " : "warning: ") + Cell(Headline(finding)) + " [" +
                finding.rule + "]\n    then: " + Cell(finding.effect) +
                "\n    do:   " + Cell(finding.advice) + "\n";
    }
    return text;
}

std::string AsTables(const Report &report) {
    const std::size_t errors = report.Count(Severity::kError);
    const std::size_t warnings = report.Count(Severity::kWarning);
    std::string text =
        report.folder + (report.loaded.Loads() ? ": the plug-in loads it\n\n"
                                               : ": the plug-in does not load it\n\n");
    text += Settings(report.loaded) + Identity(report.loaded) + Devices(report.loaded) +
            Points(report.loaded) + Forwarding(report.loaded);
    return text + AsText(report.findings) + std::to_string(errors) + " errors, " +
           std::to_string(warnings) + " warnings\n";
}

}  // namespace corvenna::check
